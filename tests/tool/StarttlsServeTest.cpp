// vexassl serve --starttls smtp: what it says in the clear, what it takes inside TLS, and what a
// hostile client can't do.
#include "tool/StarttlsTalk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <sstream>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

Words mailServer(const Words& more = {}) {
    return switchableServer() + Words{"--starttls", "smtp"} + more;
}

// Says a whole script inside TLS and gives what came back.
Outcome sayInTls(const RunningServer& server, const std::string& script) {
    return runTool(Words{"connect", server.target(), "--starttls", "smtp"} + switchable(),
                   Command::Input::text(script));
}

TEST(StarttlsServe, greetsAndOffersTheSwitchInTheClear) {
    RunningServer server(mailServer());
    ClearClient client(server.port());
    EXPECT_THAT(client.hear("\r\n"), StartsWith("220 "));
    client.say("EHLO client.test\r\n");
    EXPECT_THAT(client.hear("250 "), HasSubstr("\r\n250-STARTTLS\r\n"));
    client.say("NOOP\r\nRSET\r\n");
    client.hear("250 2.0.0 well\r\n");
    client.say("QUIT\r\n");
    EXPECT_THAT(client.hearToTheEnd(), HasSubstr("221 "));
}

TEST(StarttlsServe, infoLineShowsWhatTheSwitchSecured) {
    RunningServer server(mailServer());
    EXPECT_EQ(sayInTls(server, "QUIT\r\n").status, 0);
    EXPECT_THAT(server.command().errors(),
                testing::ContainsRegex("#1 \\[Info\\] 127\\.0\\.0\\.1:[0-9]+: TLS 1\\.2 with "));
}

// What every server of this protocol answers (RFC 5321, 4.5.1), and what the greeting promises.
TEST(StarttlsServe, knowsEachCommandThatItNames) {
    RunningServer server(mailServer());
    ClearClient client(server.port());
    client.say("EHLO client.test\r\n");
    client.hear("250 HELP\r\n");
    client.say("HELP\r\n");
    const std::string help = client.hear("\r\n");
    EXPECT_THAT(help, StartsWith("214 "));
    std::istringstream words(help);
    std::string word;
    words >> word >> word;
    std::size_t known = 0;
    while (words >> word) {
        ClearClient other(server.port());
        other.hear("\r\n");
        other.say(word + "\r\n");
        EXPECT_THAT(other.hear("\r\n"), Not(StartsWith("502"))) << word;
        ++known;
    }
    EXPECT_EQ(known, 11U);
}

TEST(StarttlsServe, verifiesNoAddress) {
    RunningServer server(mailServer());
    ClearClient client(server.port());
    client.hear("\r\n");
    client.say("VRFY somebody\r\n");
    EXPECT_THAT(client.hear("\r\n"), StartsWith("252 "));
    client.say("VRFY\r\n");
    EXPECT_EQ(client.hear("\r\n"), "501 5.5.4 an address is missing\r\n");
}

TEST(StarttlsServe, takesNoMailInTheClear) {
    RunningServer server(mailServer());
    ClearClient client(server.port());
    client.hear("\r\n");
    client.say("EHLO client.test\r\n");
    client.hear("250 HELP\r\n");
    for (const char* command :
         {"MAIL FROM:<a@b.test>\r\n", "RCPT TO:<c@d.test>\r\n", "DATA\r\n", "AUTH PLAIN\r\n"}) {
        client.say(command);
        EXPECT_THAT(client.hear("\r\n"), StartsWith("530 ")) << command;
    }
}

TEST(StarttlsServe, takesAnEnvelopeAndAMessageInsideTls) {
    RunningServer server(mailServer());
    const Outcome outcome = sayInTls(server, "EHLO client.test\r\nMAIL FROM:<a@b.test> SIZE=20\r\n"
                                             "RCPT TO:<c@d.test>\r\nRCPT TO:<e@f.test>\r\nDATA\r\n"
                                             "Subject: x\r\n\r\n..\r\n.\r\nQUIT\r\n");
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, Not(HasSubstr("STARTTLS"))) << "TLS is on";
    EXPECT_THAT(outcome.output, HasSubstr("\r\n354 "));
    EXPECT_THAT(outcome.output, HasSubstr("\r\n250 2.0.0 taken and thrown away\r\n221 "));
    EXPECT_TRUE(server.command().complains(
        "message from <a@b.test> for <c@d.test> <e@f.test>, 18 bytes, thrown away"))
        << server.command().errors();
}

TEST(StarttlsServe, overlappedReceivesTakeMailToo) {
    RunningServer server(mailServer({"--overlapped"}));
    const std::string body(100000, 'x');
    const Outcome outcome =
        sayInTls(server, "EHLO client.test\r\nMAIL FROM:<>\r\nRCPT TO:<c@d.test>\r\nDATA\r\n" +
                             body + "\r\n.\r\nQUIT\r\n");
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("221 "));
    EXPECT_TRUE(
        server.command().complains("message from <> for <c@d.test>, 100002 bytes, thrown away"));
}

TEST(StarttlsServe, forgetsTheClearDialogAtTheSwitch) {
    RunningServer server(mailServer());
    const Outcome outcome = sayInTls(server, "MAIL FROM:<a@b.test>\r\nQUIT\r\n");
    EXPECT_THAT(outcome.output, StartsWith("503 ")) << "no EHLO inside TLS yet";
}

TEST(StarttlsServe, requiresTheRightOrder) {
    RunningServer server(mailServer());
    const Outcome outcome =
        sayInTls(server, "EHLO\r\nEHLO x\r\nSTARTTLS\r\nDATA\r\nRCPT TO:<a@b>\r\nMAIL FROM:a@b\r\n"
                         "MAIL FROM:<a@b>\r\nMAIL FROM:<a@b>\r\nRCPT TO:<>\r\nDATA\r\nRSET\r\n"
                         "RCPT TO:<a@b>\r\nEXPN a\r\n\r\nQUIT\r\n");
    std::string codes;
    for (std::size_t at = 0; at < outcome.output.size(); at = outcome.output.find("\r\n", at) + 2) {
        codes += outcome.output.substr(at, 4);
    }
    EXPECT_EQ(codes, "501 250-250-250-250-250 503 503 503 501 250 503 501 503 250 503 502 502 221 ")
        << outcome.output;
}

TEST(StarttlsServe, bareLineFeedsDoNotEndAMessage) {
    RunningServer server(mailServer());
    const Outcome outcome =
        sayInTls(server, "EHLO x\r\nMAIL FROM:<a@b>\r\nRCPT TO:<c@d>\r\nDATA\r\n"
                         "one\n.\nMAIL FROM:<smuggled@b>\r\n\n.\r\n.\n\r\n"
                         ".\r\nQUIT\r\n");
    EXPECT_THAT(outcome.output, HasSubstr("taken and thrown away\r\n221 ")) << outcome.output;
    ASSERT_TRUE(server.command().complains("thrown away"));
    EXPECT_THAT(server.command().errors(), Not(HasSubstr("smuggled")));
}

TEST(StarttlsServe, clearTextAfterTheCommandIsRefused) {
    RunningServer server(mailServer());
    ClearClient client(server.port());
    client.hear("\r\n");
    client.say("EHLO x\r\n");
    client.hear("250 HELP\r\n");
    client.say("STARTTLS\r\nMAIL FROM:<attacker@b.test>\r\n");
    EXPECT_THAT(client.hearToTheEnd(), StartsWith("554 "));
    EXPECT_TRUE(server.command().complains("vexassl: #1: refused: clear text after STARTTLS"));
    EXPECT_THAT(server.command().errors(), Not(HasSubstr("attacker")));
}

TEST(StarttlsServe, clearTextAfterTheConsentFailsTheHandshake) {
    RunningServer server(mailServer());
    ClearClient client(server.port());
    client.hear("\r\n");
    client.say("STARTTLS\r\n");
    EXPECT_THAT(client.hear("\r\n"), StartsWith("220 "));
    client.say("EHLO x\r\nMAIL FROM:<attacker@b.test>\r\n");
    EXPECT_EQ(client.hearToTheEnd(), "") << "nothing was answered";
    EXPECT_TRUE(server.command().complains("vexassl: #1: no secure connection"));
    EXPECT_EQ(sayInTls(server, "QUIT\r\n").status, 0) << "the server goes on";
}

TEST(StarttlsServe, endlessLineIsRefused) {
    RunningServer server(mailServer());
    ClearClient client(server.port());
    client.hear("\r\n");
    client.say(std::string(5000, 'x'));
    EXPECT_THAT(client.hearToTheEnd(), StartsWith("500 "));
}

TEST(StarttlsServe, tooManyErrorsEndTheConnection) {
    RunningServer server(mailServer());
    ClearClient client(server.port());
    client.hear("\r\n");
    for (int i = 0; i < 19; ++i) {
        client.say("NONSENSE\r\n");
        EXPECT_THAT(client.hear("\r\n"), StartsWith("502 "));
    }
    client.say("NONSENSE\r\n");
    EXPECT_THAT(client.hearToTheEnd(), StartsWith("421 "));
}

TEST(StarttlsServe, recipientsAreLimited) {
    RunningServer server(mailServer());
    std::string script = "EHLO x\r\nMAIL FROM:<a@b>\r\n";
    for (int i = 0; i < 101; ++i) {
        script += "RCPT TO:<c@d>\r\n";
    }
    const Outcome outcome = sayInTls(server, script + "QUIT\r\n");
    EXPECT_THAT(outcome.output, HasSubstr("\r\n452 4.5.3 too many recipients\r\n221 "));
}

TEST(StarttlsServe, tooLargeMessageEndsTheConnection) {
    RunningServer server(mailServer());
    Command client(connectTo(server.target(), switchable() + Words{"--starttls", "smtp"}),
                   Command::Input::text("EHLO x\r\nMAIL FROM:<a@b>\r\nRCPT TO:<c@d>\r\nDATA\r\n" +
                                        std::string((std::size_t{10} << 20) + 5000, 'x')));
    EXPECT_TRUE(client.shows("552 ")) << client.errors();
}

TEST(StarttlsServe, silentClientIsEndedAtEveryStage) {
    RunningServer server(mailServer({"--timeout", "1"}));
    ClearClient silent(server.port());
    EXPECT_THAT(silent.hearToTheEnd(), StartsWith("220 "));
    EXPECT_TRUE(server.command().complains("vexassl: #1: timed out"));
    ClearClient stuck(server.port());
    stuck.hear("\r\n");
    stuck.say("STARTTLS\r\n");
    EXPECT_THAT(stuck.hearToTheEnd(), StartsWith("220 "));
    EXPECT_TRUE(server.command().complains("vexassl: #2: timed out during the handshake"));
}

TEST(StarttlsServe, signalEndsItOrderly) {
    RunningServer server(mailServer());
    ClearClient inTheClear(server.port());
    inTheClear.hear("\r\n");
    Command inTls(connectTo(server.target(), switchable() + Words{"--starttls", "smtp"}),
                  Command::Input::open());
    inTls.say("NOOP\r\n");
    ASSERT_TRUE(inTls.shows("250 ")) << inTls.errors();
    server.command().signal(SIGTERM);
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
    EXPECT_EQ(inTheClear.hearToTheEnd(), "");
}

TEST(StarttlsServe, requiresAClientCertificateInsideTls) {
    RunningServer server(mailServer({"--expect-client", "client.test"}));
    const Outcome without = sayInTls(server, "QUIT\r\n");
    EXPECT_EQ(without.output, "") << "it isn't told, but nothing is answered";
    EXPECT_TRUE(server.command().complains("vexassl: #1: the peer's certificate is not trusted"));
    const Outcome with = runTool(Words{"connect", server.target(), "--starttls", "smtp"} +
                                     switchable({{"ClientCertificateToSendName", pki::client}}),
                                 Command::Input::text("QUIT\r\n"));
    EXPECT_EQ(with.status, 0) << with.errors;
    EXPECT_THAT(with.output, HasSubstr("221 "));
}

// --- What the configuration must say.

void expectUsage(const Words& arguments, const std::string& line) {
    const Outcome outcome = runTool(arguments);
    EXPECT_EQ(outcome.status, 1) << outcome.errors;
    EXPECT_EQ(failureLines(outcome.errors), 1) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr(line));
}

const Words serve = {"serve", "--port", "0", "--starttls", "smtp"};
const Words connect = {"connect", "localhost:1", "--starttls", "smtp"};

TEST(StarttlsConfiguration, otherEncryptionIsUsage) {
    for (const Words& command : {serve, connect}) {
        expectUsage(command + secureServer(),
                    "--starttls needs UseEncryption=Opportunistically in the configuration of the "
                    "connection, which says [True]");
        expectUsage(command, "which says [False]");
    }
}

TEST(StarttlsConfiguration, requiredClientCertificateIsNeverServedInTheClear) {
    expectUsage(Words{"serve", "--port", "0", "--expect-client", "Any"} + switchableServer(),
                "--expect-client needs a configuration with encryption");
}

TEST(StarttlsConfiguration, logLayersAreUsage) {
    for (const Words& command : {serve, connect}) {
        expectUsage(command + switchableServer(pki::localhost, {{"InjectLogLayers", "True"}}),
                    "--starttls needs InjectLogLayers=False: a log layer hides the switch");
    }
}

TEST(StarttlsConfiguration, builtInConnectionNameIsUsage) {
    for (const Words& command : {serve, connect}) {
        Words configuration = switchableServer();
        configuration[3] = "odbcTHINclient";
        std::ofstream(configuration[1] + ".store")
            << "[Connections]\nDefault=S\n\n[S]\nUseEncryption=Opportunistically\n";
        std::ofstream(configuration[1])
            << "[VexaSsl]\nConfigurationStore=" << configuration[1] << ".store\n";
        const Outcome outcome = runTool(command + configuration);
        EXPECT_EQ(outcome.status, 1) << outcome.errors;
        EXPECT_THAT(outcome.errors,
                    HasSubstr("Internal connection name [odbcTHINclient] does not support OTLS"));
    }
}

TEST(StarttlsConfiguration, missingServerCertificateIsOurOwnBeforeListening) {
    const Outcome outcome = runTool(serve + switchableServer("nobody at all"));
    EXPECT_EQ(outcome.status, 7) << outcome.errors;
    EXPECT_EQ(outcome.output, "");
}

TEST(StarttlsConfiguration, unknownProtocolAndMixedServicesAreUsage) {
    expectUsage(Words{"serve", "--port", "0", "--starttls", "gopher"} + switchableServer(),
                "see vexassl serve --help");
    expectUsage(Words{"connect", "localhost:1", "--starttls", "gopher"} + switchable(),
                "see vexassl connect --help");
    expectUsage(serve + Words{"--www"} + switchableServer(), "see vexassl serve --help");
}

TEST(StarttlsConfiguration, withoutTheSwitchOverlappedReceivesWorkInTheClear) {
    RunningServer server(switchableServer() + Words{"--overlapped"});
    const std::string text(100000, 'x'); // more than a buffer holds
    const Outcome outcome =
        runTool(Words{"connect", server.target()} + switchable(), Command::Input::text(text));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, text);
}

TEST(StarttlsConfiguration, clearTextWithoutTheSwitchIsReported) {
    RunningServer server(switchableServer());
    EXPECT_TRUE(server.command().complains("without --starttls this is plain text"));
    const Outcome outcome = runTool(Words{"connect", server.target()} + switchable(),
                                    Command::Input::text("in the clear"));
    EXPECT_EQ(outcome.output, "in the clear");
    EXPECT_THAT(outcome.errors, HasSubstr("without --starttls this is plain text"));
}

} // namespace
} // namespace VexaSsl::test
