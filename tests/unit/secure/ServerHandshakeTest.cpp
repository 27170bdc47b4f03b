#include "secure/ServerHandshake.h"

#include "fakes/NegotiationLines.h"
#include "fakes/NegotiationStage.h"

#include <gmock/gmock.h>

#include <new>
#include <utility>

namespace VexaSsl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Events = std::vector<std::string>;

LogLine step(const std::wstring& status, const std::wstring& code) {
    return debugLine(L"AcceptSecurityContext succeeded with: " + status + L" (text of " + code +
                     L")");
}

const LogLine continued = step(L"590610", L"590610");
const LogLine established = step(L"0", L"0");
const LogLine incomplete = step(L"-2146893032", L"2148074264");
const LogLine sendingToken = debugLine(L"AcceptSecurityContext: Sending token to client");
const LogLine encrypted{Severity::Info, L"An encrypted connection has been successfully "
                                        L"initialised on socket [5000000000] (server side)"};

LogLine completed(int iterations) {
    return debugLine(L"AcceptSecurityContext completed successfully in [" +
                     std::to_wstring(iterations) + L"] iterations");
}

struct ServerHandshakeTest : testing::Test {
    NegotiationStage stage{true};
};

TEST_F(ServerHandshakeTest, ordinaryNegotiationWritesItsLinesInOrder) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED, .token = "serverhello"},
                   {.status = SEC_E_OK, .token = "finished"}};
    stage.arriving = {"hello", "keys"};
    stage.run();
    EXPECT_THAT(stage.lines(),
                ElementsAre(received(5), continued, sendingToken, sending(11), received(4),
                            established, sendingToken, sending(8), encrypted, completed(2)));
    EXPECT_EQ(stage.sent, "serverhellofinished");
}

TEST_F(ServerHandshakeTest, serverReceivesBeforeItsFirstCall) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED, .token = "serverhello"},
                   {.status = SEC_E_OK, .token = "finished"}};
    stage.arriving = {"hello", "keys"};
    stage.run();
    EXPECT_EQ(stage.events,
              (Events{"recv", "call", "send", "free", "recv", "call", "send", "free"}));
    EXPECT_EQ(stage.tokensHeld(), 0U);
}

TEST_F(ServerHandshakeTest, addressForANewContextIsPassedOnEveryCall) {
    stage.steps = {
        {.status = SEC_I_CONTINUE_NEEDED}, {.status = SEC_I_CONTINUE_NEEDED}, {.status = SEC_E_OK}};
    stage.arriving = {"one", "two", "three"};
    stage.run();
    EXPECT_THAT(stage.packageCalls, ElementsAre(PackageCall{false, false, true, true, "one"},
                                                PackageCall{true, false, true, true, "two"},
                                                PackageCall{true, false, true, true, "three"}));
}

TEST_F(ServerHandshakeTest, clientThatNeedNotAuthenticateIsNotAskedForACertificate) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED}, {.status = SEC_E_OK}};
    stage.arriving = {"one", "two"};
    stage.run();
    EXPECT_THAT(stage.requirements, ElementsAre(0x18114U, 0x18114U));
    EXPECT_EQ(stage.good.platform.calls,
              (Events{"AcceptSecurityContext", "AcceptSecurityContext"}));
}

TEST_F(ServerHandshakeTest, successMovesTheContextIntoTheRecord) {
    stage.steps = {{.status = SEC_E_OK}};
    stage.arriving = {"hello"};
    stage.run();
    EXPECT_TRUE(stage.recordHasTheContext());
    EXPECT_EQ(stage.good.contextsDeleted, 0);
}

TEST_F(ServerHandshakeTest, emptyLastTokenIsIgnoredSilently) {
    stage.steps = {{.status = SEC_E_OK}};
    stage.arriving = {"hello"};
    stage.run();
    EXPECT_THAT(stage.lines(), ElementsAre(received(5), established, encrypted, completed(1)));
    EXPECT_THAT(stage.sent, IsEmpty());
}

TEST_F(ServerHandshakeTest, tokenAndAlertAreEmptyByTheirSizeNotTheirPointer) {
    stage.steps = {{.status = SEC_E_OK, .emptyMemory = true}};
    stage.arriving = {"hello"};
    stage.run();
    EXPECT_THAT(stage.lines(), ElementsAre(received(5), established, encrypted, completed(1)));
    EXPECT_EQ(stage.events, (Events{"recv", "call", "free"}));
}

TEST_F(ServerHandshakeTest, missingTokenBufferIsIgnoredSilently) {
    stage.steps = {{.status = SEC_E_OK, .omitsTokenBuffer = true}};
    stage.arriving = {"hello"};
    stage.run();
    EXPECT_THAT(stage.lines(), ElementsAre(received(5), established, encrypted, completed(1)));
}

TEST_F(ServerHandshakeTest, splitFirstMessageIsRepeatedWithAZeroContextByAddress) {
    stage.steps = {{.status = SEC_E_INCOMPLETE_MESSAGE,
                    .token = "never sent",
                    .missing = 3,
                    .createsContext = false},
                   {.status = SEC_E_OK}};
    stage.arriving = {"he", "llo"};
    stage.run();
    EXPECT_EQ(stage.tokensHeld(), 0U);
    EXPECT_THAT(stage.receiveLengths, ElementsAre(10000, 3));
    EXPECT_THAT(stage.packageCalls, ElementsAre(PackageCall{false, false, true, true, "he"},
                                                PackageCall{true, true, true, true, "hello"}));
    EXPECT_THAT(stage.lines(), ElementsAre(received(2), incomplete, received(3), established,
                                           encrypted, completed(2)));
}

TEST_F(ServerHandshakeTest, singleBytesAreOneReceiveAndOneIterationEach) {
    const std::string token = "hello";
    for (std::size_t i = 0; i < token.size(); ++i) {
        stage.arriving.push_back(token.substr(i, 1));
        const ULONG missing = static_cast<ULONG>(token.size() - i - 1);
        stage.steps.push_back(missing == 0 ? PackageStep{}
                                           : PackageStep{.status = SEC_E_INCOMPLETE_MESSAGE,
                                                         .missing = missing,
                                                         .createsContext = false});
    }
    stage.run();
    EXPECT_THAT(stage.receiveLengths, ElementsAre(10000, 4, 3, 2, 1));
    EXPECT_EQ(stage.packageCalls.back().received, token);
    EXPECT_TRUE(stage.logged(completed(5)));
}

TEST_F(ServerHandshakeTest, incompleteMessageWithoutACountRequestsNothingAndEnds) {
    stage.steps = {{.status = SEC_E_INCOMPLETE_MESSAGE, .createsContext = false}};
    stage.arriving = {"he", "never read"};
    EXPECT_EQ(stage.failure(), "Connection closed");
    EXPECT_THAT(stage.receiveLengths, ElementsAre(10000, 0));
    EXPECT_EQ(stage.good.contextsDeleted, 0);
}

TEST_F(ServerHandshakeTest, missingCountOfZeroRequestsNothingAndEnds) {
    stage.steps = {{.status = SEC_E_INCOMPLETE_MESSAGE, .missing = 0}};
    stage.arriving = {"he", "never read"};
    EXPECT_EQ(stage.failure(), "Connection closed");
    EXPECT_THAT(stage.receiveLengths, ElementsAre(10000, 0));
}

TEST_F(ServerHandshakeTest, missingCountBeyondTheCapacityIsRequestedExactly) {
    stage.steps = {{.status = SEC_E_INCOMPLETE_MESSAGE, .missing = 12000}, {.status = SEC_E_OK}};
    stage.arriving = {"he", std::string(12000, 'x')};
    stage.run();
    EXPECT_THAT(stage.receiveLengths, ElementsAre(10000, 12000));
    EXPECT_EQ(stage.packageCalls.back().received, "he" + std::string(12000, 'x'));
}

TEST_F(ServerHandshakeTest, incompleteCredentialsAreIgnoredAndTheNextReceiveRequestsNothing) {
    stage.steps = {{.status = SEC_I_INCOMPLETE_CREDENTIALS, .token = "never sent", .alert = true}};
    stage.arriving = {"hello", "never read"};
    EXPECT_EQ(stage.failure(), "Connection closed");
    EXPECT_THAT(stage.receiveLengths, ElementsAre(10000, 0));
    EXPECT_THAT(stage.lines(), ElementsAre(received(5), step(L"590624", L"590624"), peerGone()));
    EXPECT_EQ(stage.events,
              (Events{"recv", "call", "recv", "free", "delete"})); // the alert isn't read
}

TEST_F(ServerHandshakeTest, bytesAfterTheLastHandshakeRecordAreDropped) {
    stage.steps = {{.status = SEC_E_OK, .extra = 4}};
    stage.arriving = {"finishedDATA"};
    stage.run();
    EXPECT_THAT(stage.record->cipherBytes(), IsEmpty());
}

TEST_F(ServerHandshakeTest, bytesLeftOverInMidNegotiationAreDropped) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED, .extra = 4}, {.status = SEC_E_OK}};
    stage.arriving = {"helloMORE", "next"};
    stage.run();
    EXPECT_EQ(stage.packageCalls.back().received, "next");
}

TEST_F(ServerHandshakeTest, alertKeepsAFinishedNegotiationWaiting) {
    stage.steps = {{.status = SEC_E_OK, .token = "last", .alert = true}, {.status = SEC_E_OK}};
    stage.arriving = {"hello", "more"};
    stage.run();
    EXPECT_EQ(stage.events, (Events{"recv", "call", "break", "send", "free", "recv", "call"}));
    EXPECT_EQ(stage.sent, "last");
    EXPECT_TRUE(stage.logged(completed(2)));
}

TEST_F(ServerHandshakeTest, lastTokenIsSentBeforeConfidentialityIsTested) {
    stage.steps = {{.status = SEC_E_OK, .token = "finished", .attributes = 0xFFFFFFEF}};
    stage.arriving = {"hello"};
    EXPECT_EQ(stage.failure(), "no confidentiality");
    EXPECT_EQ(stage.sent, "finished");
    EXPECT_EQ(stage.lines().back(), notConfidential());
    EXPECT_EQ(stage.good.contextsDeleted, 1);
}

TEST_F(ServerHandshakeTest, failingStatusIsAnErrorThenAWarning) {
    stage.steps = {{.status = SEC_E_ALGORITHM_MISMATCH, .createsContext = false}};
    stage.arriving = {"hello"};
    EXPECT_EQ(stage.failure(), "AcceptSecurityContext failed");
    EXPECT_THAT(stage.lines(),
                ElementsAre(received(5),
                            LogLine{Severity::Error, L"AcceptSecurityContext failed with: "
                                                     L"2148074289 (text of 2148074289)"},
                            aborting()));
    EXPECT_EQ(stage.good.contextsDeleted, 0);
}

TEST_F(ServerHandshakeTest, wrongPrincipalIsNotExplainedOnThisSide) {
    stage.steps = {{.status = SEC_E_WRONG_PRINCIPAL}};
    stage.arriving = {"hello"};
    EXPECT_EQ(stage.failure(), "AcceptSecurityContext failed");
    EXPECT_THAT(stage.lines(), SizeIs(3));
}

TEST_F(ServerHandshakeTest, positiveStatusOutsideTheFourIsAFailure) {
    stage.steps = {{.status = SEC_I_CONTEXT_EXPIRED}};
    stage.arriving = {"hello"};
    EXPECT_EQ(stage.failure(), "AcceptSecurityContext failed");
}

TEST_F(ServerHandshakeTest, failureInMidNegotiationDeletesTheContextOnceAndSendsNothing) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED}, {.status = SEC_E_DECRYPT_FAILURE}};
    stage.arriving = {"hello", "keys"};
    EXPECT_EQ(stage.failure(), "AcceptSecurityContext failed");
    EXPECT_EQ(stage.events, (Events{"recv", "call", "recv", "call", "delete"}));
    EXPECT_FALSE(stage.record->securityContext.isPresent());
}

TEST_F(ServerHandshakeTest, tokenThatComesWithAFailureIsFreedUnsent) {
    stage.steps = {{.status = SEC_E_DECRYPT_FAILURE, .token = "alert"}};
    stage.arriving = {"hello"};
    EXPECT_EQ(stage.failure(), "AcceptSecurityContext failed");
    EXPECT_EQ(stage.events, (Events{"recv", "call", "free", "delete"}));
    EXPECT_EQ(stage.tokensHeld(), 0U);
}

TEST_F(ServerHandshakeTest, clientThatClosesAtOnceEndsItAtTheFirstReceive) {
    EXPECT_EQ(stage.failure(), "Connection closed");
    EXPECT_THAT(stage.lines(), ElementsAre(peerGone()));
    EXPECT_EQ(stage.events, (Events{"recv"}));
}

TEST_F(ServerHandshakeTest, tokenOfAStepThatCannotBeLoggedIsFreed) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED, .token = "token"}};
    stage.arriving = {"hello"};
    stage.good.platform.FormatMessageW = [](auto...) -> DWORD { throw std::bad_alloc(); };
    EXPECT_THROW(stage.run(), std::bad_alloc);
    EXPECT_EQ(stage.events, (Events{"recv", "call", "free", "delete"}));
    EXPECT_EQ(stage.tokensHeld(), 0U);
}

TEST_F(ServerHandshakeTest, failingSendReleasesTheTokenThenTheContext) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED, .token = "serverhello"}};
    stage.arriving = {"hello"};
    stage.good.strategy.onSend = [](auto...) { return SOCKET_ERROR; };
    EXPECT_EQ(stage.failure(), "can't send");
    EXPECT_EQ(stage.events, (Events{"recv", "call", "free", "delete"}));
    EXPECT_EQ(stage.tokensHeld(), 0U);
}

TEST_F(ServerHandshakeTest, failingReceiveDeletesTheContext) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED}};
    stage.good.strategy.onRecv = [first = true](SOCKET, char* buffer, int, int) mutable {
        *buffer = 'h';
        return std::exchange(first, false) ? 1 : SOCKET_ERROR;
    };
    EXPECT_EQ(stage.failure(), "can't recv");
    EXPECT_EQ(stage.good.contextsDeleted, 1);
}

// Any trusted client is acceptable here.
struct ServerHandshakeWithAuthenticationTest : testing::Test {
    ServerHandshakeWithAuthenticationTest() {
        stage.record->options.requireClientAuthentication = true;
    }

    void clientSent(PCCERT_CONTEXT certificate) {
        stage.good.platform.QueryContextAttributesW = [=, this](CtxtHandle* context,
                                                                ULONG attribute, void* result) {
            EXPECT_EQ(attribute, 0x53U);
            EXPECT_EQ(context->dwLower, stage.made.dwLower);
            EXPECT_EQ(stage.sent, "finished"); // the client may believe that it is connected
            if (certificate == nullptr) {
                return SEC_E_NO_CREDENTIALS;
            }
            *static_cast<PCCERT_CONTEXT*>(result) = stage.good.shelf.addReference(certificate);
            return SEC_E_OK;
        };
        stage.steps = {{.status = SEC_E_OK, .token = "finished"}};
        stage.arriving = {"hello"};
    }

    NegotiationStage stage{true};
};

TEST_F(ServerHandshakeWithAuthenticationTest, clientIsAskedForACertificateOnEveryCall) {
    clientSent(stage.good.shelf.make());
    stage.steps.push_front({.status = SEC_I_CONTINUE_NEEDED});
    stage.arriving.emplace_back("keys");
    stage.run();
    EXPECT_THAT(stage.requirements, ElementsAre(0x18116U, 0x18116U));
}

TEST_F(ServerHandshakeWithAuthenticationTest, clientIsAcceptedBeforeTheLinesOfSuccess) {
    clientSent(stage.good.shelf.make());
    stage.run();
    EXPECT_THAT(
        stage.lines(),
        ElementsAre(received(5), established, sendingToken, sending(8),
                    debugLine(L"The certificate chain is trusted for client authentication"),
                    encrypted, completed(1)));
    EXPECT_TRUE(stage.recordHasTheContext());
    EXPECT_EQ(stage.good.contextsDeleted, 0);
    EXPECT_EQ(stage.good.shelf.held(), 0);
}

TEST_F(ServerHandshakeWithAuthenticationTest, clientWithoutCertificateIsRejectedAtTheEnd) {
    clientSent(nullptr);
    EXPECT_EQ(stage.failure(), "client authentication failed: can't get client cert");
    const std::vector<LogLine> lines = stage.lines();
    EXPECT_THAT(std::vector<LogLine>(lines.end() - 2, lines.end()),
                ElementsAre(LogLine{Severity::Warning,
                                    L"QueryContextAttributes (SECPKG_ATTR_REMOTE_CERT_CONTEXT) "
                                    L"returned [SEC_E_NO_CREDENTIALS]. Probable cause: no "
                                    L"certificate was sent"},
                            LogLine{Severity::Error,
                                    L"Unable to obtain a certificate to authenticate the client "
                                    L"by. Terminating connection"}));
    EXPECT_FALSE(stage.logged(aborting()));
    EXPECT_EQ(stage.good.contextsDeleted, 1);
}

TEST_F(ServerHandshakeWithAuthenticationTest, certificateIsReleasedBeforeTheContextIsDeleted) {
    const PCCERT_CONTEXT certificate = stage.good.shelf.make();
    stage.good.shelf.untrusted = {certificate};
    clientSent(certificate);
    EXPECT_EQ(stage.failure(), "client authentication failed: cert not trusted");
    const Events& calls = stage.good.platform.calls;
    ASSERT_GE(calls.size(), 2U);
    EXPECT_EQ(Events(calls.end() - 2, calls.end()),
              (Events{"CertFreeCertificateContext", "DeleteSecurityContext"}));
    EXPECT_EQ(stage.good.contextsDeleted, 1);
}

TEST_F(ServerHandshakeWithAuthenticationTest, confidentialityIsTestedBeforeTheClient) {
    clientSent(nullptr);
    stage.steps.front().attributes = 0;
    EXPECT_EQ(stage.failure(), "no confidentiality");
}

} // namespace
} // namespace VexaSsl::test
