// lastFailure of a connection over a scripted platform: a table of what fails and what is told.
#include "config/Vocabulary.h"
#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::test {
namespace {

using Cause = FailureCause;
using Stage = SecureStage<>;
namespace Option = ConfigurationDefinition::ConnectionOptions;

constexpr SOCKET connection = Stage::connection;

// What makes a connection fail, done before it connects.
using Arrangement = std::function<void(Stage&)>;

struct Failing {
    const char* name;
    Arrangement arrange;
    Cause cause;
    std::int32_t status;
    std::wstring text;
    std::vector<std::pair<std::wstring, std::wstring>> options = {};
};

void PrintTo(const Failing& failing, std::ostream* stream) {
    *stream << failing.name;
}

void nothing(Stage&) {}

// The package fails in the first call of either role.
Arrangement packageFails(SECURITY_STATUS status) {
    return [=](Stage& stage) {
        stage.platform.InitializeSecurityContextW = [=](auto...) { return status; };
        stage.platform.AcceptSecurityContext = [=](auto...) { return status; };
    };
}

// The client's first call succeeds, and the second fails for these received bytes.
Arrangement packageFailsFor(const std::string& received, SECURITY_STATUS status) {
    return [=](Stage& stage) {
        stage.platform.InitializeSecurityContextW = [=](CredHandle*, CtxtHandle* context,
                                                        auto...) -> SECURITY_STATUS {
            return context == nullptr ? SEC_I_CONTINUE_NEEDED : status;
        };
        stage.arrive(received);
    };
}

Arrangement lowerFails(int code) {
    return [=](Stage& stage) {
        const auto fail = [&stage, code] { stage.platform.lastError = code; };
        stage.lower->onConnect = [=](auto...) { return fail(), SOCKET_ERROR; };
        stage.lower->onAccept = [=](auto...) { return fail(), INVALID_SOCKET; };
    };
}

// The first receive of a server's handshake.
Arrangement receiveFails(int result, int code) {
    return [=](Stage& stage) {
        stage.lower->onRecv = [=, &stage](auto...) {
            stage.platform.lastError = code;
            return result;
        };
    };
}

// The package asks this side to send, and that fails.
Arrangement sendFails(int code) {
    return [=](Stage& stage) {
        stage.platform.InitializeSecurityContextW =
            [](CredHandle*, CtxtHandle*, wchar_t*, ULONG, ULONG, ULONG, SecBufferDesc*, ULONG,
               CtxtHandle*, SecBufferDesc* output, ULONG*, TimeStamp*) {
                static char token[1];
                output->pBuffers[0].cbBuffer = sizeof token;
                output->pBuffers[0].pvBuffer = token;
                return SEC_I_CONTINUE_NEEDED;
            };
        stage.platform.FreeContextBuffer = [](void*) { return SEC_E_OK; };
        stage.lower->onSend = [=, &stage](auto...) {
            stage.platform.lastError = code;
            return SOCKET_ERROR;
        };
    };
}

class LastFailure : public testing::TestWithParam<Failing> {
protected:
    void SetUp() override {
        for (const auto& [name, value] : GetParam().options) {
            stage.config.setValue(name, value);
        }
        stage.make();
        stage.resolve("peer");
    }

    void expectTold() {
        stage.forget();
        const ConnectionFailure failure = stage.strategy->lastFailure();
        EXPECT_EQ(failure.cause, GetParam().cause);
        EXPECT_EQ(failure.status, GetParam().status);
        EXPECT_EQ(failure.text, GetParam().text);
        EXPECT_TRUE(stage.log.lines.empty());
    }

    Stage stage;
};

class FailureOfConnect : public LastFailure {};

TEST_P(FailureOfConnect, hasItsCause) {
    GetParam().arrange(stage);
    EXPECT_EQ(stage.strategy->connect(connection, nullptr, 0), SOCKET_ERROR);
    expectTold();
}

INSTANTIATE_TEST_SUITE_P(
    Client, FailureOfConnect,
    testing::Values(
        Failing{"refused", lowerFails(WSAECONNREFUSED), Cause::Transport, WSAECONNREFUSED,
                L"cannot connect: text of 10061"},
        Failing{"nonBlocking", lowerFails(WSAEWOULDBLOCK), Cause::Caller, WSAEWOULDBLOCK,
                L"cannot connect: text of 10035"},
        Failing{"badOption",
                nothing,
                Cause::Configuration,
                0,
                L"invalid configuration",
                {{Option::RequireClientAuthentication, L"Perhaps"}}},
        Failing{"noStore",
                [](Stage& stage) {
                    stage.platform.CertOpenStore = [&stage](auto...) {
                        stage.platform.lastError = 2;
                        return HCERTSTORE{nullptr};
                    };
                },
                Cause::OwnCertificate, 2, L"cannot open the certificate store: text of 2"},
        Failing{"noCredentials",
                [](Stage& stage) {
                    stage.platform.AcquireCredentialsHandleW = [](auto...) {
                        return SEC_E_NO_CREDENTIALS;
                    };
                },
                Cause::OwnCertificate, SEC_E_NO_CREDENTIALS,
                L"aquire credentials failed: text of 2148074254"},
        Failing{"noMemoryForCredentials",
                [](Stage& stage) {
                    stage.platform.AcquireCredentialsHandleW = [](auto...) {
                        return SEC_E_INSUFFICIENT_MEMORY;
                    };
                },
                Cause::Memory, SEC_E_INSUFFICIENT_MEMORY,
                L"aquire credentials failed: text of 2148074240"},
        Failing{"noCertificateOfThatName",
                [](Stage& stage) { stage.handshake.shelf.foundByName.clear(); },
                Cause::OwnCertificate,
                0,
                L"no available certificate",
                {{Option::ClientCertificateToSendName, L"nobody"}}},
        Failing{"noSuitableCertificate",
                nothing,
                Cause::OwnCertificate,
                0,
                L"no default certificate",
                {{Option::ClientCertificateToSendName, L"Any"}}},
        Failing{"untrusted", packageFails(SEC_E_UNTRUSTED_ROOT), Cause::PeerNotTrusted,
                SEC_E_UNTRUSTED_ROOT, L"InitializeSecurityContext failed: text of 2148074277"},
        Failing{"otherName", packageFails(SEC_E_WRONG_PRINCIPAL), Cause::NameMismatch,
                SEC_E_WRONG_PRINCIPAL, L"InitializeSecurityContext failed: text of 2148074274"},
        Failing{"expired", packageFails(SEC_E_CERT_EXPIRED), Cause::Expired, SEC_E_CERT_EXPIRED,
                L"InitializeSecurityContext failed: text of 2148074280"},
        Failing{"alert", packageFailsFor({"\x15\x03\x03\x00\x02\x02\x30", 7}, SEC_E_UNTRUSTED_ROOT),
                Cause::PeerRefused, SEC_E_UNTRUSTED_ROOT,
                L"InitializeSecurityContext failed: text of 2148074277"},
        Failing{"plainText", packageFailsFor("HTTP/1.0 400 Bad", SEC_E_ILLEGAL_MESSAGE),
                Cause::Protocol, SEC_E_ILLEGAL_MESSAGE,
                L"InitializeSecurityContext failed: text of 2148074278"},
        Failing{"certificateWanted", packageFailsFor("request", SEC_I_INCOMPLETE_CREDENTIALS),
                Cause::OwnCertificate, SEC_I_INCOMPLETE_CREDENTIALS,
                L"incomplete credentials: text of 590624"},
        Failing{"noEncryption",
                [](Stage& stage) {
                    stage.platform.InitializeSecurityContextW = [](auto...) { return SEC_E_OK; };
                },
                Cause::Protocol, 0, L"no confidentiality"},
        Failing{"noSizes",
                [](Stage& stage) {
                    stage.platform.QueryContextAttributesW = [](auto...) {
                        return SEC_E_INVALID_HANDLE;
                    };
                },
                Cause::Protocol, SEC_E_INVALID_HANDLE,
                L"::QueryContextAttributes failed: text of 2148074241"},
        Failing{"cannotSend", sendFails(WSAECONNRESET), Cause::Transport, WSAECONNRESET,
                L"can't send: text of 10054"},
        Failing{"noMemory",
                [](Stage& stage) {
                    stage.platform.InitializeSecurityContextW = [](auto...) -> SECURITY_STATUS {
                        throw std::bad_alloc();
                    };
                },
                Cause::Memory, 0, L"out of memory"},
        Failing{"logThrows",
                [](Stage& stage) {
                    stage.platform.InitializeSecurityContextW = [](auto...) -> SECURITY_STATUS {
                        throw std::runtime_error("of the log");
                    };
                },
                Cause::Caller, 0, L"unexpected exception"}),
    [](const auto& tested) { return tested.param.name; });

class FailureOfAccept : public LastFailure {};

TEST_P(FailureOfAccept, hasItsCause) {
    stage.lower->onAccept = [](auto...) { return connection; };
    stage.lower->onRecv = GoodHandshake::receiveOneByte;
    GetParam().arrange(stage);
    EXPECT_EQ(stage.strategy->accept(Stage::listener, nullptr, nullptr), INVALID_SOCKET);
    expectTold();
}

TEST_P(FailureOfAccept, isThatOfCompleteAcceptExToo) {
    if (GetParam().text.starts_with(L"cannot accept")) {
        return; // of the lower accept
    }
    stage.lower->onAcceptEx = [](auto...) { return TRUE; };
    stage.lower->onRecv = GoodHandshake::receiveOneByte;
    stage.strategy->AcceptEx(Stage::listener, connection, nullptr, 0, 0, 0, nullptr, nullptr);
    GetParam().arrange(stage);
    EXPECT_EQ(stage.strategy->completeAcceptEx(), SOCKET_ERROR);
    expectTold();
}

// The package shows a client's certificate, or none, and the policy judges it.
Arrangement clientSends(DWORD policyStatus, bool isSent = true) {
    return [=](Stage& stage) {
        stage.platform.QueryContextAttributesW = [=, &stage](CtxtHandle*, ULONG,
                                                             void* buffer) -> SECURITY_STATUS {
            if (!isSent) {
                return SEC_E_NO_CREDENTIALS;
            }
            *static_cast<PCCERT_CONTEXT*>(buffer) =
                stage.handshake.shelf.addReference(stage.handshake.serverCertificate);
            return SEC_E_OK;
        };
        stage.platform.CertVerifyCertificateChainPolicy = [=](const char*, PCCERT_CHAIN_CONTEXT,
                                                              CERT_CHAIN_POLICY_PARA*,
                                                              CERT_CHAIN_POLICY_STATUS* status) {
            status->dwError = policyStatus;
            status->lChainIndex = status->lElementIndex = -1;
            return TRUE;
        };
    };
}

// A function, since the option names are constructed at an unknown moment before main.
std::vector<std::pair<std::wstring, std::wstring>> asking() {
    return {{Option::RequireClientAuthentication, L"True"}};
}

INSTANTIATE_TEST_SUITE_P(
    Server, FailureOfAccept,
    testing::Values(
        Failing{"nothingAccepted", lowerFails(WSAECONNRESET), Cause::Transport, WSAECONNRESET,
                L"cannot accept: text of 10054"},
        Failing{"silentPeer", receiveFails(SOCKET_ERROR, WSAETIMEDOUT), Cause::Transport,
                WSAETIMEDOUT, L"can't recv: text of 10060"},
        Failing{"nonBlocking", receiveFails(SOCKET_ERROR, WSAEWOULDBLOCK), Cause::Caller,
                WSAEWOULDBLOCK, L"can't recv: text of 10035"},
        Failing{"closed", receiveFails(0, 0), Cause::Transport, 0, L"Connection closed"},
        Failing{"refusedCertificate", packageFails(SEC_E_CERT_UNKNOWN), Cause::PeerRefused,
                SEC_E_CERT_UNKNOWN, L"AcceptSecurityContext failed: text of 2148074279"},
        Failing{"noCommonCipherSuite", packageFails(SEC_E_ALGORITHM_MISMATCH), Cause::Protocol,
                SEC_E_ALGORITHM_MISMATCH, L"AcceptSecurityContext failed: text of 2148074289"},
        Failing{"noClientCertificate", clientSends(0, false), Cause::PeerNotTrusted, 0,
                L"client authentication failed: can't get client cert", asking()},
        Failing{"untrustedClient", clientSends(CERT_E_UNTRUSTEDROOT), Cause::PeerNotTrusted,
                static_cast<std::int32_t>(CERT_E_UNTRUSTEDROOT),
                L"client authentication failed: cert not trusted: text of 2148204809", asking()},
        Failing{"expiredClient", clientSends(CERT_E_EXPIRED), Cause::Expired,
                static_cast<std::int32_t>(CERT_E_EXPIRED),
                L"client authentication failed: cert not trusted: text of 2148204801", asking()},
        Failing{"clientThatCouldNotBeJudged",
                [](Stage& stage) {
                    clientSends(0)(stage);
                    stage.platform.CertVerifyCertificateChainPolicy =
                        [](const char*, PCCERT_CHAIN_CONTEXT, CERT_CHAIN_POLICY_PARA*,
                           CERT_CHAIN_POLICY_STATUS* status) {
                            status->dwError = CERT_E_EXPIRED; // without a meaning
                            return FALSE;
                        };
                },
                Cause::PeerNotTrusted, 0, L"client authentication failed: cert not trusted",
                asking()},
        Failing{"clientOfAnotherName",
                clientSends(0),
                Cause::NameMismatch,
                0,
                L"client authentication failed: cert not acceptable",
                {{Option::RequireClientAuthentication, L"True"},
                 {Option::AcceptableClientCertificateToReceiveNames, L"somebody"}}}),
    [](const auto& tested) { return tested.param.name; });

class FailureOfCaller : public testing::Test {
protected:
    FailureOfCaller() { stage.make(); }

    void expectCause(Cause cause) { EXPECT_EQ(stage.strategy->lastFailure().cause, cause); }

    Stage stage;
};

TEST_F(FailureOfCaller, thereIsNoneBeforeAnAttempt) {
    expectCause(Cause::None);
    EXPECT_EQ(stage.strategy->lastFailure().text, L"");
}

TEST_F(FailureOfCaller, missingName) {
    stage.strategy->connect(connection, nullptr, 0);
    expectCause(Cause::Caller);
    EXPECT_EQ(stage.strategy->lastFailure().text, L"no host name has been resolved");
}

TEST_F(FailureOfCaller, completionWithoutAnAccept) {
    stage.strategy->completeAcceptEx();
    expectCause(Cause::Caller);
    EXPECT_EQ(stage.strategy->lastFailure().text, L"no socket has been accepted");
}

TEST_F(FailureOfCaller, successClearsTheFailure) {
    stage.strategy->connect(connection, nullptr, 0);
    stage.resolve("peer");
    EXPECT_EQ(stage.strategy->connect(connection, nullptr, 0), 0);
    expectCause(Cause::None);
    stage.lower->onAccept = [](auto...) { return connection; };
    stage.lower->onRecv = GoodHandshake::receiveOneByte;
    stage.lower->onAcceptEx = [](auto...) { return TRUE; };
    stage.platform.CertOpenStore = [](auto...) { return HCERTSTORE{nullptr}; };
    EXPECT_EQ(stage.strategy->accept(Stage::listener, nullptr, nullptr), INVALID_SOCKET);
    expectCause(Cause::OwnCertificate);
    stage.platform.CertOpenStore = [this](auto...) { return stage.handshake.shelf.storeHandle; };
    stage.strategy->AcceptEx(Stage::listener, connection, nullptr, 0, 0, 0, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->completeAcceptEx(), 0);
    expectCause(Cause::None);
}

TEST_F(FailureOfCaller, otherOperationsKeepTheFailure) {
    stage.strategy->connect(connection, nullptr, 0);
    stage.resolve("peer");
    stage.receive(1);
    stage.send("data");
    expectCause(Cause::Caller);
}

} // namespace
} // namespace VexaSsl::test
