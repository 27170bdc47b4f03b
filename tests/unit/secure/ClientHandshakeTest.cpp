#include "secure/ClientHandshake.h"

#include "fakes/NegotiationLines.h"
#include "fakes/NegotiationStage.h"

#include <gmock/gmock.h>

#include <new>
#include <stdexcept>

namespace VexaSsl::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Events = std::vector<std::string>;

LogLine step(const std::wstring& status, const std::wstring& code) {
    return debugLine(L"InitializeSecurityContext succeeded with: " + status + L" (text of " + code +
                     L")");
}

const LogLine continued = step(L"590610", L"590610");
const LogLine established = step(L"0", L"0");
const LogLine incomplete = step(L"-2146893032", L"2148074264");
const LogLine noToken = debugLine(L"InitializeSecurityContext: No token to send");
const LogLine sendingToken = debugLine(L"InitializeSecurityContext: Sending token to server");
const LogLine encrypted{Severity::Info, L"An encrypted connection has been successfully "
                                        L"initialised on socket [5000000000] (client side)"};

LogLine completed(int iterations) {
    return debugLine(L"InitializeSecurityContext completed successfully in [" +
                     std::to_wstring(iterations) + L"] iterations");
}

struct ClientHandshakeTest : testing::Test {
    NegotiationStage stage{false};
};

TEST_F(ClientHandshakeTest, ordinaryNegotiationWritesItsLinesInOrder) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED, .token = "hello"},
                   {.status = SEC_I_CONTINUE_NEEDED, .token = "keys"},
                   {.status = SEC_E_OK}};
    stage.arriving = {"serverhello", "finished"};
    stage.run();
    EXPECT_THAT(stage.lines(), ElementsAre(continued, sendingToken, sending(5), received(11),
                                           continued, sendingToken, sending(4), received(8),
                                           established, noToken, encrypted, completed(3)));
    EXPECT_EQ(stage.sent, "hellokeys");
}

TEST_F(ClientHandshakeTest, callsSendsAndReceivesComeInOrder) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED, .token = "hello"},
                   {.status = SEC_E_OK, .token = "finished"}};
    stage.arriving = {"serverhello"};
    stage.run();
    EXPECT_EQ(stage.events, (Events{"call", "send", "free", "recv", "call", "send", "free"}));
    EXPECT_EQ(stage.tokensHeld(), 0U);
}

TEST_F(ClientHandshakeTest, firstCallMakesAContextAndLaterCallsContinueIt) {
    stage.steps = {
        {.status = SEC_I_CONTINUE_NEEDED}, {.status = SEC_I_CONTINUE_NEEDED}, {.status = SEC_E_OK}};
    stage.arriving = {"one", "two"};
    stage.run();
    EXPECT_THAT(stage.packageCalls, ElementsAre(PackageCall{false, false, true, false, ""},
                                                PackageCall{true, false, false, true, "one"},
                                                PackageCall{true, false, false, true, "two"}));
}

TEST_F(ClientHandshakeTest, everyCallHasTheSameRequirementsAndTarget) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED}, {.status = SEC_E_OK}};
    stage.arriving = {"one"};
    stage.run();
    EXPECT_THAT(stage.requirements, ElementsAre(0xC194U, 0xC194U));
    EXPECT_THAT(stage.targets, ElementsAre(L"peer.test", L"peer.test"));
}

TEST_F(ClientHandshakeTest, packageIsGivenTheRecordsOwnCharacters) {
    const wchar_t* given = nullptr;
    auto original = stage.good.platform.InitializeSecurityContextW;
    stage.good.platform.InitializeSecurityContextW =
        [&](CredHandle* credential, CtxtHandle* context, wchar_t* target, auto... rest) {
            given = target;
            return original(credential, context, target, rest...);
        };
    stage.steps = {{.status = SEC_E_OK}};
    stage.run();
    EXPECT_EQ(given, stage.record->targetName.data());
}

// Without the fixture: there can be one scripted platform at a time.
TEST(ClientHandshake, emptyTargetIsPassedOnUntested) {
    NegotiationStage nameless{false, L""};
    nameless.steps = {{.status = SEC_E_OK}};
    nameless.run();
    EXPECT_THAT(nameless.targets, ElementsAre(L""));
}

TEST_F(ClientHandshakeTest, successMovesTheContextIntoTheRecord) {
    stage.steps = {{.status = SEC_E_OK}};
    stage.run();
    EXPECT_TRUE(stage.recordHasTheContext());
    EXPECT_EQ(stage.good.contextsDeleted, 0);
}

TEST_F(ClientHandshakeTest, oneNonZeroWordIsAContextToDelete) {
    stage.made = {0, 9};
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED}};
    EXPECT_EQ(stage.failure(), "Connection closed");
    EXPECT_EQ(stage.good.contextsDeleted, 1);
}

TEST_F(ClientHandshakeTest, flightInPiecesRequestsExactlyWhatIsMissing) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED},
                   {.status = SEC_E_INCOMPLETE_MESSAGE, .token = "never sent", .missing = 5},
                   {.status = SEC_E_INCOMPLETE_MESSAGE, .missing = 3},
                   {.status = SEC_E_OK}};
    stage.arriving = {"abc", "de", "fgh"};
    stage.run();
    EXPECT_EQ(stage.tokensHeld(), 0U);
    EXPECT_THAT(stage.receiveLengths, ElementsAre(10000, 5, 3));
    ASSERT_THAT(stage.packageCalls, SizeIs(4));
    EXPECT_EQ(stage.packageCalls[1].received, "abc");
    EXPECT_EQ(stage.packageCalls[2].received, "abcde");
    EXPECT_EQ(stage.packageCalls[3].received, "abcdefgh");
    EXPECT_THAT(stage.lines(),
                ElementsAre(continued, noToken, received(3), incomplete, received(2), incomplete,
                            received(3), established, noToken, encrypted, completed(4)));
}

TEST_F(ClientHandshakeTest, singleBytesAreOneReceiveAndOneIterationEach) {
    const std::string token = "tokens";
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED}};
    for (std::size_t i = 0; i < token.size(); ++i) {
        stage.arriving.push_back(token.substr(i, 1));
        const ULONG missing = static_cast<ULONG>(token.size() - i - 1);
        stage.steps.push_back(
            missing == 0 ? PackageStep{}
                         : PackageStep{.status = SEC_E_INCOMPLETE_MESSAGE, .missing = missing});
    }
    stage.run();
    EXPECT_THAT(stage.receiveLengths, ElementsAre(10000, 5, 4, 3, 2, 1));
    EXPECT_EQ(stage.packageCalls.back().received, token);
    EXPECT_TRUE(stage.logged(completed(7)));
}

TEST_F(ClientHandshakeTest, incompleteMessageWithoutACountRequestsNothingAndEnds) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED}, {.status = SEC_E_INCOMPLETE_MESSAGE}};
    stage.arriving = {"abc", "never read"};
    EXPECT_EQ(stage.failure(), "Connection closed");
    EXPECT_THAT(stage.receiveLengths, ElementsAre(10000, 0));
    EXPECT_EQ(stage.lines().back(), peerGone());
    EXPECT_EQ(stage.good.contextsDeleted, 1);
}

TEST_F(ClientHandshakeTest, missingCountOfZeroRequestsNothingAndEnds) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED},
                   {.status = SEC_E_INCOMPLETE_MESSAGE, .missing = 0}};
    stage.arriving = {"abc", "never read"};
    EXPECT_EQ(stage.failure(), "Connection closed");
    EXPECT_THAT(stage.receiveLengths, ElementsAre(10000, 0));
}

TEST_F(ClientHandshakeTest, incompleteMessageAtTheFirstCallHasNoInputToSearch) {
    stage.steps = {{.status = SEC_E_INCOMPLETE_MESSAGE}, {.status = SEC_E_OK}};
    stage.arriving = {"abc"};
    stage.run();
    EXPECT_THAT(stage.receiveLengths, ElementsAre(10000));
    EXPECT_TRUE(stage.logged(completed(2)));
}

TEST_F(ClientHandshakeTest, missingCountBeyondTheCapacityIsRequestedExactly) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED},
                   {.status = SEC_E_INCOMPLETE_MESSAGE, .missing = 15000},
                   {.status = SEC_E_OK}};
    stage.arriving = {"abc", std::string(15000, 'x')};
    stage.run();
    EXPECT_THAT(stage.receiveLengths, ElementsAre(10000, 15000));
    EXPECT_EQ(stage.packageCalls.back().received, "abc" + std::string(15000, 'x'));
}

TEST_F(ClientHandshakeTest, grownCapacityStaysForTheNextReceive) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED},
                   {.status = SEC_E_INCOMPLETE_MESSAGE, .missing = 10000},
                   {.status = SEC_I_CONTINUE_NEEDED},
                   {.status = SEC_E_OK}};
    stage.arriving = {"abc", "d", "e"};
    stage.run();
    EXPECT_THAT(stage.receiveLengths, ElementsAre(10000, 10000, 10003));
}

TEST_F(ClientHandshakeTest, lastTokenIsSentBeforeConfidentialityIsTested) {
    stage.steps = {{.status = SEC_E_OK, .token = "finished", .attributes = 0xFFFFFFEF}};
    EXPECT_EQ(stage.failure(), "no confidentiality");
    EXPECT_EQ(stage.sent, "finished");
    EXPECT_THAT(stage.lines(),
                ElementsAre(established, sendingToken, sending(8), notConfidential()));
    EXPECT_EQ(stage.good.contextsDeleted, 1);
}

TEST_F(ClientHandshakeTest, alertKeepsAFinishedNegotiationWaiting) {
    stage.steps = {{.status = SEC_E_OK, .token = "last", .alert = true}, {.status = SEC_E_OK}};
    stage.arriving = {"more"};
    stage.run();
    EXPECT_EQ(stage.events,
              (Events{"call", "break", "send", "free", "recv", "call"})); // the alert isn't freed
    EXPECT_EQ(stage.sent, "last");                                        // and isn't sent
    EXPECT_TRUE(stage.logged(completed(2)));
}

TEST_F(ClientHandshakeTest, alertInMidNegotiationOnlyStopsADebugger) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED, .token = "hello", .alert = true},
                   {.status = SEC_E_OK}};
    stage.arriving = {"more"};
    stage.run();
    EXPECT_EQ(stage.events, (Events{"call", "break", "send", "free", "recv", "call"}));
}

TEST_F(ClientHandshakeTest, tokenAndAlertAreEmptyByTheirSizeNotTheirPointer) {
    stage.steps = {{.status = SEC_E_OK, .emptyMemory = true}};
    stage.run();
    EXPECT_THAT(stage.lines(), ElementsAre(established, noToken, encrypted, completed(1)));
    EXPECT_EQ(stage.events, (Events{"call", "free"}));
}

TEST_F(ClientHandshakeTest, bytesAfterTheLastHandshakeRecordAreDropped) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED}, {.status = SEC_E_OK, .extra = 4}};
    stage.arriving = {"finishedDATA"};
    stage.run();
    EXPECT_THAT(stage.record->cipherBytes(), IsEmpty());
}

TEST_F(ClientHandshakeTest, bytesLeftOverInMidNegotiationAreDropped) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED},
                   {.status = SEC_I_CONTINUE_NEEDED, .extra = 4},
                   {.status = SEC_E_OK}};
    stage.arriving = {"helloMORE", "next"};
    stage.run();
    EXPECT_EQ(stage.packageCalls.back().received, "next");
}

TEST_F(ClientHandshakeTest, missingTokenBufferIsIgnoredSilently) {
    stage.steps = {{.status = SEC_E_OK, .omitsTokenBuffer = true}};
    stage.run();
    EXPECT_THAT(stage.lines(), ElementsAre(established, encrypted, completed(1)));
}

TEST_F(ClientHandshakeTest, failingFirstCallWritesNoStepLine) {
    stage.steps = {{.status = SEC_E_INTERNAL_ERROR, .createsContext = false}};
    EXPECT_EQ(stage.failure(), "InitializeSecurityContext failed");
    EXPECT_THAT(stage.lines(),
                ElementsAre(LogLine{Severity::Error, L"InitializeSecurityContext failed with: "
                                                     L"2148074244 (text of 2148074244)"},
                            aborting()));
    EXPECT_EQ(stage.good.contextsDeleted, 0);
    EXPECT_THAT(stage.good.strategy.calls, IsEmpty());
}

TEST_F(ClientHandshakeTest, failureInMidNegotiationDeletesTheContextOnce) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED},
                   {.status = SEC_E_UNTRUSTED_ROOT, .missing = 5, .alert = true}};
    stage.arriving = {"abc"};
    EXPECT_EQ(stage.failure(), "InitializeSecurityContext failed");
    EXPECT_EQ(stage.events, (Events{"call", "recv", "call", "delete"}));
    EXPECT_FALSE(stage.record->securityContext.isPresent());
}

TEST_F(ClientHandshakeTest, tokenThatComesWithAFailureIsFreedUnsent) {
    stage.steps = {{.status = SEC_E_UNTRUSTED_ROOT, .token = "alert"}};
    EXPECT_EQ(stage.failure(), "InitializeSecurityContext failed");
    EXPECT_THAT(stage.good.strategy.calls, IsEmpty());
    EXPECT_EQ(stage.events, (Events{"call", "free", "delete"}));
    EXPECT_EQ(stage.tokensHeld(), 0U);
}

TEST_F(ClientHandshakeTest, positiveStatusOutsideTheFourIsAFailure) {
    stage.steps = {{.status = SEC_I_RENEGOTIATE}};
    EXPECT_EQ(stage.failure(), "InitializeSecurityContext failed");
    EXPECT_THAT(stage.lines(),
                ElementsAre(LogLine{Severity::Error, L"InitializeSecurityContext failed with: "
                                                     L"590625 (text of 590625)"},
                            aborting()));
}

TEST_F(ClientHandshakeTest, wrongPrincipalIsExplainedWithTheTarget) {
    stage.steps = {{.status = SEC_E_WRONG_PRINCIPAL}};
    EXPECT_EQ(stage.failure(), "InitializeSecurityContext failed");
    EXPECT_THAT(
        stage.lines(),
        ElementsAre(
            LogLine{Severity::Error, L"InitializeSecurityContext failed with: 2148074274 (text of "
                                     L"2148074274)"},
            LogLine{Severity::Info,
                    L"InitializeSecurityContext failed with [SEC_E_WRONG_PRINCIPAL]. Probable "
                    L"cause: None of the names on the certificate that the server supplied to us "
                    L"match the address we connected to [peer.test]"},
            LogLine{Severity::Info, L"It is not possible to report the names on the certificate."},
            aborting()));
    EXPECT_EQ(stage.good.contextsDeleted, 1);
}

TEST_F(ClientHandshakeTest, incompleteCredentialsEndWithoutASearchForACertificate) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED}, {.status = SEC_I_INCOMPLETE_CREDENTIALS}};
    stage.arriving = {"certificate request"};
    EXPECT_EQ(stage.failure(), "incomplete credentials");
    EXPECT_THAT(stage.lines(),
                ElementsAre(continued, noToken, received(19), step(L"590624", L"590624"),
                            LogLine{Severity::Error,
                                    L"InitializeSecurityContext returned "
                                    L"[SEC_I_INCOMPLETE_CREDENTIALS]. Probable causes: The server "
                                    L"is configured to require client authentication \t\t\tbut "
                                    L"rejected the certificate we sent, or, the server is not "
                                    L"configured to use encryption"}));
    EXPECT_EQ(stage.good.platform.calls,
              (Events{"InitializeSecurityContextW", "InitializeSecurityContextW",
                      "DeleteSecurityContext"}));
}

TEST_F(ClientHandshakeTest, peerThatClosesEndsItWithoutTheAbortingLine) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED, .token = "hello"}};
    EXPECT_EQ(stage.failure(), "Connection closed");
    EXPECT_THAT(stage.lines(), ElementsAre(continued, sendingToken, sending(5), peerGone()));
    EXPECT_EQ(stage.good.contextsDeleted, 1);
}

TEST_F(ClientHandshakeTest, tokenOfAStepThatCannotBeLoggedIsFreed) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED, .token = "token"}};
    stage.good.platform.FormatMessageW = [](auto...) -> DWORD { throw std::bad_alloc(); };
    EXPECT_THROW(stage.run(), std::bad_alloc);
    EXPECT_EQ(stage.events, (Events{"call", "free", "delete"}));
    EXPECT_EQ(stage.tokensHeld(), 0U);
}

TEST_F(ClientHandshakeTest, failingSendReleasesTheTokenThenTheContext) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED, .token = "hello"}};
    stage.good.strategy.onSend = [&](auto...) {
        stage.good.platform.lastError = 10054;
        return SOCKET_ERROR;
    };
    EXPECT_EQ(stage.failure(), "can't send");
    EXPECT_EQ(stage.events, (Events{"call", "free", "delete"}));
    EXPECT_EQ(stage.tokensHeld(), 0U);
}

TEST_F(ClientHandshakeTest, failingReceiveDeletesTheContext) {
    stage.steps = {{.status = SEC_I_CONTINUE_NEEDED}};
    stage.good.strategy.onRecv = [&](auto...) { return SOCKET_ERROR; };
    EXPECT_EQ(stage.failure(), "can't recv");
    EXPECT_EQ(stage.good.contextsDeleted, 1);
}

TEST(ClientHandshake, logThatThrowsOnSuccessStillDeletesTheContextOnce) {
    CallbackLog log;
    log.onLine = [](Severity, const std::wstring& text) {
        if (text.starts_with(L"An encrypted connection has been")) {
            throw std::runtime_error("the disk is full");
        }
    };
    GoodHandshake good;
    EXPECT_THROW(SecureSocketRecord(log, good.config, GoodHandshake::socket, good.strategy, false,
                                    L"peer.test"),
                 std::runtime_error);
    EXPECT_EQ(good.contextsDeleted, 1);
}

} // namespace
} // namespace VexaSsl::test
