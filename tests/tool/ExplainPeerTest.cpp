// vexassl explain HOST:PORT: the chain is seen though a connection refuses it.
#include "integration/support/HostSocket.h"
#include "integration/support/Relay.h"
#include "tool/StarttlsTalk.h"
#include "tool/Tool.h"

#include <gmock/gmock.h>

#include <memory>

namespace VexaSsl::test {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

Outcome explained(const std::string& target, const Words& more = {}) {
    return runTool(Words{"explain", target, "--certificates", pki::folder().string()} + more);
}

TEST(ExplainPeer, validServerIsTrustedForItsName) {
    RunningServer server(secureServer());
    const Outcome outcome = explained(server.target());
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(outcome.output, HasSubstr("the chain that " + server.target() + " sends, judged"));
    EXPECT_THAT(outcome.output, HasSubstr("for server authentication: trusted\n"));
    EXPECT_THAT(outcome.output, HasSubstr("name [localhost]: the certificate is made out to it\n"));
    EXPECT_THAT(outcome.output, HasSubstr("a connection by the library logs:\n"
                                          "    [Info] An encrypted connection has been "
                                          "successfully initialised on socket ["));
    EXPECT_THAT(outcome.output, Not(HasSubstr("a connection by the library fails")));
}

TEST(ExplainPeer, expiredServerIsShownWithCauseRemedyAndLines) {
    RunningServer server(secureServer(pki::expired));
    const Outcome outcome = explained(server.target());
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.output, HasSubstr("expired: its validity ended at 2021-01-01"));
    EXPECT_THAT(outcome.output, HasSubstr("remedy: have it renewed"));
    EXPECT_THAT(outcome.output,
                HasSubstr("    [Error] InitializeSecurityContext failed with: 2148074280 ("));
    EXPECT_THAT(outcome.output, HasSubstr("\na connection by the library fails: the peer's "
                                          "certificate is not trusted (InitializeSecurityContext"));
}

TEST(ExplainPeer, wrongNameIsSeen) {
    RunningServer server(secureServer(pki::otherName));
    const Outcome outcome = explained(server.target());
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.output, HasSubstr("name: it isn't made out to [localhost]: its names are "
                                          "elsewhere.test"));
    EXPECT_THAT(outcome.output,
                HasSubstr("    [Error] InitializeSecurityContext failed with: 2148074274 ("));
    EXPECT_EQ(explained(server.target(), {"--name", "elsewhere.test"}).status, 0);
}

TEST(ExplainPeer, untrustedServersAreSeen) {
    RunningServer selfSigned(secureServer(pki::selfSigned));
    EXPECT_THAT(explained(selfSigned.target()).output, HasSubstr("self-signed: "));
    RunningServer untrusted(secureServer(pki::untrusted));
    const Outcome outcome = explained(untrusted.target());
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.output, HasSubstr("missing-issuer: "));
}

TEST(ExplainPeer, wrongUsageIsSeen) {
    RunningServer server(secureServer(pki::clientOnly));
    const Outcome outcome = explained(server.target());
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.output, HasSubstr("usage: it isn't meant for server authentication"));
}

TEST(ExplainPeer, missingIntermediateIsSeenAndASentOneIsUsed) {
    RunningServer broken(secureServer(pki::missingIntermediate));
    const Outcome outcome = explained(broken.target());
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.output, HasSubstr("[O=case intermediate, CN=Throwaway Intermediate]"));
    RunningServer whole(secureServer(pki::withIntermediate));
    const Outcome good = explained(whole.target());
    EXPECT_EQ(good.status, 0);
    EXPECT_THAT(good.output, HasSubstr("[2] Throwaway Intermediate: nothing wrong with it"));
}

TEST(ExplainPeer, serverThatRequestsACertificateShowsItsOwn) {
    RunningServer server(secureServer(pki::localhost, {{"RequireClientAuthentication", "True"}}));
    const Outcome outcome = explained(server.target());
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("for server authentication: trusted\n"));
}

TEST(ExplainPeer, serverThatRequiresACertificateIsReported) {
    const ForeignServer server({"-Verify", "1", "-verify_return_error"});
    const Outcome outcome = explained(server.target());
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("for server authentication: trusted\n"));
    EXPECT_THAT(
        outcome.output,
        HasSubstr("\na connection by the library fails: the peer refused our certificate, or "
                  "wants one (InitializeSecurityContext failed with: 2148074278 ("));
}

TEST(ExplainPeer, anotherTimeAppliesToTheChainOnly) {
    RunningServer server(secureServer());
    const Outcome outcome = explained(server.target(), {"--at", "2055-01-01"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.output, HasSubstr("expired: "));
    EXPECT_THAT(outcome.output, HasSubstr("has been successfully initialised"));
}

TEST(ExplainPeer, scriptGetsTheConnectionsLinesToo) {
    RunningServer server(secureServer(pki::expired));
    const Outcome outcome = explained(server.target(), {"--json", "--purpose", "server"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.output,
                HasSubstr("{\"type\":\"log\",\"chain\":1,\"purpose\":\"connection\",\"severity\":"
                          "\"Error\",\"text\":\"InitializeSecurityContext failed with: "
                          "2148074280 ("));
    EXPECT_THAT(outcome.output, Not(HasSubstr("\"purpose\":\"client\"")));
}

void expectFailure(const Outcome& outcome, int status, const std::string& line) {
    EXPECT_EQ(outcome.status, status) << outcome.errors;
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(failureLines(outcome.errors), 1) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr(line));
}

TEST(ExplainPeer, serverWithoutTlsShowsNoCertificate) {
    RunningServer server(plainText());
    expectFailure(explained(server.target()), 4, "showed no certificate: ");
}

TEST(ExplainPeer, serverThatBeginsInTheClearIsAskedForTlsFirst) {
    RunningServer good(switchableServer() + Words{"--starttls", "smtp"});
    const Outcome trusted = explained(good.target(), {"--starttls", "smtp"});
    EXPECT_EQ(trusted.status, 0) << trusted.errors;
    EXPECT_THAT(trusted.output, HasSubstr("[Info] An encrypted connection has been successfully"));
    RunningServer expired(switchableServer(pki::expired) + Words{"--starttls", "smtp"});
    const Outcome refused = explained(expired.target(), {"--starttls", "smtp"});
    EXPECT_EQ(refused.status, 5);
    EXPECT_THAT(refused.output, HasSubstr("expired: its validity ended at 2021-01-01"));
    EXPECT_THAT(refused.output,
                HasSubstr("    [Error] InitializeSecurityContext failed with: 2148074280 ("));
}

// The first connection is for the chain, the second the library's own.
TEST(ExplainPeer, startTlsThatFailsTheSecondTimeIsReported) {
    RunningServer server(switchableServer() + Words{"--starttls", "smtp"});
    const Words more = {"--starttls", "smtp", "--timeout", "1"};
    Relay once(server.port(), {});
    const std::string target = "localhost:" + std::to_string(once.port());
    const Outcome person = explained(target, more);
    EXPECT_EQ(person.status, 0) << person.errors;
    EXPECT_THAT(
        person.output,
        EndsWith("\na connection by the library fails: timed out talking to " + target + "\n"));
    Relay again(server.port(), {});
    const std::string other = "localhost:" + std::to_string(again.port());
    EXPECT_THAT(explained(other, more + Words{"--json"}).output,
                EndsWith("{\"type\":\"note\",\"chain\":1,\"id\":\"no-connection\",\"message\":\""
                         "timed out talking to " +
                         other + "\"}\n"));
}

TEST(ExplainPeer, serverThatIsGoneTheSecondTimeIsReported) {
    for (const Words& serving :
         {secureServer(), switchableServer() + Words{"--starttls", "smtp"}}) {
        RunningServer server(serving + Words{"--count", "1"});
        const bool isSwitched = serving.back() == "smtp";
        const Outcome outcome =
            explained(server.target(), isSwitched ? Words{"--starttls", "smtp"} : Words{});
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_THAT(outcome.output, HasSubstr("\na connection by the library "));
    }
}

TEST(ExplainPeer, serverThatRefusesStartTlsIsReported) {
    ScriptedServer server({{"", "220 here\r\n"}, {"EHLO", "250 here\r\n"}});
    expectFailure(explained(server.target(), {"--starttls", "smtp"}), 4, "STARTTLS");
}

TEST(ExplainPeer, silenceInTheStartTlsDialogTimesOut) {
    const Listener silent;
    expectFailure(explained("127.0.0.1:" + std::to_string(silent.port()),
                            {"--starttls", "imap", "--timeout", "1"}),
                  3, "timed out talking to 127.0.0.1:");
}

TEST(ExplainPeer, startTlsWithoutAServerIsUsage) {
    const Outcome outcome = runTool({"explain", "--store", "x", "--starttls", "smtp"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("--starttls"));
}

TEST(ExplainPeer, closedPortCannotBeConnected) {
    const Listener nobody;
    expectFailure(explained("localhost:1"), 2, "cannot connect to localhost:1");
    expectFailure(explained("no-such-host.invalid:443"), 2, "cannot resolve");
}

TEST(ExplainPeer, silentPeerTimesOut) {
    const Listener silent;
    expectFailure(explained("127.0.0.1:" + std::to_string(silent.port()), {"--timeout", "1"}), 3,
                  "timed out talking to 127.0.0.1:");
}

} // namespace
} // namespace VexaSsl::test
