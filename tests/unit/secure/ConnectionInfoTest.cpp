// connectionInfo: what the platform tells, and when it is asked.
#include "config/Vocabulary.h"
#include "fakes/SecureConnection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ios>
#include <new>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Info : public testing::Test {
protected:
    Info() {
        stage.platform.QueryContextAttributesW =
            [this, others = stage.platform.QueryContextAttributesW](CtxtHandle* context,
                                                                    ULONG attribute, void* buffer) {
                return answer(context, attribute, buffer)
                    .value_or(attribute == SECPKG_ATTR_STREAM_SIZES
                                  ? others(context, attribute, buffer)
                                  : SEC_E_UNSUPPORTED_FUNCTION);
            };
        stage.make();
    }

    std::optional<SECURITY_STATUS> answer(CtxtHandle* context, ULONG attribute, void* buffer) {
        if (attribute == withoutMemory) {
            return SEC_E_INSUFFICIENT_MEMORY;
        }
        if (attribute == SECPKG_ATTR_CONNECTION_INFO && protocol != 0) {
            EXPECT_EQ(context->dwLower, stage.established);
            static_cast<SecPkgContext_ConnectionInfo*>(buffer)->dwProtocol = protocol;
            return SEC_E_OK;
        }
        if (attribute == SECPKG_ATTR_CIPHER_INFO && knowsSuite) {
            auto& info = *static_cast<SecPkgContext_CipherInfo*>(buffer);
            EXPECT_EQ(info.dwVersion, DWORD{SECPKGCONTEXT_CIPHERINFO_V1});
            const std::wstring name = L"TLS_TOY";
            std::copy(name.begin(), name.end(), info.szCipherSuite);
            return SEC_E_OK;
        }
        const PCCERT_CONTEXT found = attribute == SECPKG_ATTR_REMOTE_CERT_CONTEXT  ? peer
                                     : attribute == SECPKG_ATTR_LOCAL_CERT_CONTEXT ? own
                                                                                   : nullptr;
        if (found == nullptr) {
            return std::nullopt;
        }
        *static_cast<PCCERT_CONTEXT*>(buffer) = stage.handshake.shelf.addReference(found);
        return SEC_E_OK;
    }

    void connect() {
        stage.resolve("peer");
        ASSERT_EQ(stage.strategy->connect(SecureStage<>::connection, nullptr, 0), 0);
        stage.forget();
    }

    void accept() {
        stage.lower->onAccept = [](auto...) { return SecureStage<>::connection; };
        stage.lower->onRecv = GoodHandshake::receiveOneByte;
        ASSERT_EQ(stage.strategy->accept(SecureStage<>::listener, nullptr, nullptr),
                  SecureStage<>::connection);
        stage.forget();
    }

    ConnectionInfo info() const { return stage.strategy->connectionInfo(); }

    void expectEmpty() const {
        const ConnectionInfo nothing = info();
        EXPECT_EQ(nothing.protocol, L"");
        EXPECT_EQ(nothing.cipherSuite, L"");
        EXPECT_THAT(nothing.peerCertificate, IsEmpty());
        EXPECT_EQ(nothing.peerSubject, L"");
        EXPECT_THAT(nothing.peerNames, IsEmpty());
        EXPECT_FALSE(nothing.peerTrusted);
        EXPECT_EQ(nothing.ownSubject, L"");
    }

    SecureStage<> stage;
    DWORD protocol = SP_PROT_TLS1_2_CLIENT;
    bool knowsSuite = true;
    ULONG withoutMemory = 0;
    PCCERT_CONTEXT peer = stage.handshake.shelf.make({L"one.test", L"two.test"}, L"peer");
    PCCERT_CONTEXT own = stage.handshake.shelf.make({}, L"own");
};

TEST_F(Info, everythingComesFromThePlatform) {
    connect();
    const ConnectionInfo whole = info();
    EXPECT_EQ(whole.protocol, L"TLS 1.2");
    EXPECT_EQ(whole.cipherSuite, L"TLS_TOY");
    EXPECT_EQ(
        whole.peerCertificate,
        std::vector<std::uint8_t>(peer->pbCertEncoded, peer->pbCertEncoded + peer->cbCertEncoded));
    EXPECT_EQ(whole.peerSubject, L"CN=peer");
    EXPECT_THAT(whole.peerNames, ElementsAre(L"one.test", L"two.test"));
    EXPECT_TRUE(whole.peerTrusted);
    EXPECT_EQ(whole.ownSubject, L"CN=own");
    EXPECT_THAT(stage.log.lines, IsEmpty());
    EXPECT_EQ(stage.handshake.shelf.references.at(peer), 0) << "released";
    EXPECT_EQ(stage.handshake.shelf.references.at(own), 0) << "released";
}

TEST_F(Info, handshakeAsksOnlyForTheStreamSizes) {
    stage.resolve("peer");
    stage.platform.calls.clear();
    stage.strategy->connect(SecureStage<>::connection, nullptr, 0);
    EXPECT_EQ(stage.platformCalls("QueryContextAttributesW"), 1);
    EXPECT_EQ(stage.platformCalls("CertGetNameStringW"), 0);
}

TEST_F(Info, lackOfMemoryIsNotALackOfCertificates) {
    connect();
    for (const ULONG failing : {SECPKG_ATTR_REMOTE_CERT_CONTEXT, SECPKG_ATTR_LOCAL_CERT_CONTEXT}) {
        withoutMemory = failing;
        EXPECT_THROW(info(), std::bad_alloc);
    }
}

TEST_F(Info, isEmptyBeforeAConnection) {
    expectEmpty();
    EXPECT_THAT(stage.platform.calls, IsEmpty());
}

TEST_F(Info, isEmptyAfterAnAttemptThatFailed) {
    connect();
    stage.lower->onConnect = [](auto...) { return SOCKET_ERROR; };
    stage.strategy->connect(SecureStage<>::connection, nullptr, 0);
    expectEmpty();
    stage.lower->onConnect = [](auto...) { return 0; };
    connect();
    EXPECT_EQ(info().peerSubject, L"CN=peer");
}

TEST_F(Info, isEmptyWhenThePlatformNoLongerDescribesTheConnection) {
    connect();
    protocol = 0;
    expectEmpty();
}

struct Protocol {
    DWORD bits;
    const wchar_t* name;
};

void PrintTo(const Protocol& tested, std::ostream* stream) {
    *stream << std::hex << tested.bits;
}

class ProtocolName : public Info, public testing::WithParamInterface<Protocol> {};

TEST_P(ProtocolName, isThatOfEitherSide) {
    connect();
    constexpr DWORD server = 0x1550;
    for (const DWORD side : {GetParam().bits & server, GetParam().bits & ~server}) {
        protocol = side;
        EXPECT_EQ(info().protocol, GetParam().name);
    }
}

INSTANTIATE_TEST_SUITE_P(Protocols, ProtocolName,
                         testing::Values(Protocol{0x30, L"SSL 3.0"}, Protocol{0xC0, L"TLS 1.0"},
                                         Protocol{0x300, L"TLS 1.1"}, Protocol{0xC00, L"TLS 1.2"},
                                         Protocol{0x3000, L"TLS 1.3"}));

TEST_F(Info, unknownProtocolIsNamedTls) {
    connect();
    protocol = 0x80000000;
    EXPECT_EQ(info().protocol, L"TLS");
}

TEST_F(Info, whatTheSystemDoesNotKnowIsEmpty) {
    knowsSuite = false;
    peer = nullptr;
    own = nullptr;
    connect();
    const ConnectionInfo few = info();
    EXPECT_EQ(few.protocol, L"TLS 1.2");
    EXPECT_EQ(few.cipherSuite, L"");
    EXPECT_THAT(few.peerCertificate, IsEmpty());
    EXPECT_FALSE(few.peerTrusted) << "without a certificate";
    EXPECT_EQ(few.ownSubject, L"");
}

TEST_F(Info, peerWithoutNamesIsNoWarning) {
    peer = stage.handshake.shelf.make({}, L"nameless");
    connect();
    EXPECT_THAT(info().peerNames, IsEmpty());
    EXPECT_THAT(stage.log.lines, IsEmpty());
}

TEST_F(Info, clientIsTrustedOnlyByAServerThatRequiresACertificate) {
    accept();
    EXPECT_EQ(info().peerSubject, L"CN=peer");
    EXPECT_FALSE(info().peerTrusted);
    stage.config.setValue(ConfigurationDefinition::ConnectionOptions::RequireClientAuthentication,
                          L"True");
    stage.make();
    accept();
    EXPECT_TRUE(info().peerTrusted);
}

} // namespace
} // namespace VexaSsl::test
