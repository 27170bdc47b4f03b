// vexassl connect --json: the peer's bytes on standard output, objects on standard error.
#include "tool/JsonReader.h"
#include "tool/StarttlsTalk.h"
#include "tool/StrangeCertificates.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::SizeIs;

struct Told {
    int status;
    std::string output;
    std::vector<JsonObject> objects;
    std::string errors;
};

Told connected(const std::string& target, const Words& more,
               const Command::Input& input = Command::Input::none()) {
    const Outcome outcome = runTool(Words{"connect", target, "--json"} + more, input);
    return {outcome.status, outcome.output, readObjects(outcome.errors), outcome.errors};
}

// The last object is the only failure and agrees with the exit status.
void expectFailure(const Told& told, const std::string& outcome, int status,
                   const std::string& part) {
    EXPECT_EQ(told.status, status) << told.errors;
    ASSERT_THAT(ofType(told.objects, "failure"), SizeIs(1)) << told.errors;
    const JsonObject& failure = told.objects.back();
    EXPECT_THAT(failure, SizeIs(4));
    EXPECT_EQ(failure.at("type"), "failure");
    EXPECT_EQ(failure.at("outcome"), outcome);
    EXPECT_EQ(failure.at("status"), std::to_string(status));
    EXPECT_THAT(failure.at("message"), HasSubstr(part));
}

TEST(ConnectJson, bytesAndReportsUseDifferentStreams) {
    RunningServer server(secureServer());
    const std::string bytes("{\"type\":\"failure\"}\n\0\xff", 21);
    const Told told = connected(server.target(), secureClient(), Command::Input::text(bytes));
    EXPECT_EQ(told.status, 0) << told.errors;
    EXPECT_EQ(told.output, bytes);
    EXPECT_THAT(ofType(told.objects, "failure"), IsEmpty());
}

TEST(ConnectJson, showsWhatWasNegotiatedAndWithWhom) {
    RunningServer server(secureServer());
    const Told told = connected(server.target(), secureClient());
    const auto summaries = ofType(told.objects, "connected");
    ASSERT_THAT(summaries, SizeIs(1)) << told.errors;
    const JsonObject& summary = summaries[0];
    EXPECT_EQ(summary.at("target"), server.target());
    EXPECT_EQ(summary.at("address"), "127.0.0.1:" + std::to_string(server.port()));
    EXPECT_EQ(summary.at("protocol"), "TLS 1.2");
    EXPECT_THAT(summary.at("suite"), MatchesRegex("TLS_ECDHE_RSA_WITH_[A-Z0-9_]+"));
    const JsonObject peer = readObject(summary.at("peer"));
    EXPECT_EQ(peer.at("subject"), "O=case server-rsa, CN=localhost");
    EXPECT_EQ(peer.at("issuer"), "O=case authority, CN=Throwaway Authority");
    EXPECT_THAT(peer.at("sha256"), MatchesRegex("[0-9A-Fa-f]{64}"));
}

TEST(ConnectJson, plainTextHasNothingNegotiated) {
    RunningServer server(plainText());
    const Told told = connected(server.target(), {}, Command::Input::text("x"));
    EXPECT_EQ(told.output, "x");
    ASSERT_THAT(told.objects, SizeIs(2)) << told.errors;
    EXPECT_EQ(told.objects[0].at("id"), "plain-text");
    EXPECT_EQ(told.objects[1], (JsonObject{{"type", "connected"},
                                           {"target", server.target()},
                                           {"address", server.target("127.0.0.1")},
                                           {"protocol", "null"},
                                           {"suite", "null"},
                                           {"peer", "null"}}));
}

TEST(ConnectJson, linesOfTheLibraryAreObjects) {
    RunningServer server(secureServer());
    const Told told = connected(server.target(), secureClient({{"MinimumSeverityToLog", "Debug"}}));
    const auto lines = ofType(told.objects, "log");
    ASSERT_THAT(lines, Not(IsEmpty()));
    for (const JsonObject& line : lines) {
        EXPECT_THAT(line, SizeIs(3));
        EXPECT_THAT(line.at("severity"), MatchesRegex("Debug|Info|Warning|Error"));
    }
    EXPECT_EQ(ofType(told.objects, "connected").size() + lines.size(), told.objects.size());
}

TEST(ConnectJson, configuredPlainTextIsANote) {
    RunningServer server(plainText());
    const Told plain = connected(server.target(), configured({{"UseEncryption", "False"}}));
    ASSERT_THAT(ofType(plain.objects, "note"), SizeIs(1)) << plain.errors;
    EXPECT_EQ(ofType(plain.objects, "note")[0].at("id"), "plain-text");
    const Told switchedNever = connected(server.target(), switchable());
    ASSERT_THAT(ofType(switchedNever.objects, "note"), SizeIs(1)) << switchedNever.errors;
    EXPECT_EQ(ofType(switchedNever.objects, "note")[0].at("id"), "never-switched");
}

TEST(ConnectJson, sentFileIsReportedOnceAConnection) {
    RunningServer server(secureServer());
    const auto file = Command::Input::text(std::string(100000, 'x')).path.string();
    const Told told =
        connected(server.target(), secureClient() + Words{"--send", file, "--count", "2"});
    EXPECT_EQ(told.status, 0) << told.errors;
    const auto sent = ofType(told.objects, "sent");
    ASSERT_THAT(sent, SizeIs(2));
    EXPECT_EQ(sent[0].at("bytes"), "100000");
    EXPECT_THAT(sent[0].at("milliseconds"), MatchesRegex("[0-9]+"));
    EXPECT_THAT(ofType(told.objects, "connected"), SizeIs(2));
}

TEST(ConnectJson, everyFailureHasItsIdentifier) {
    expectFailure(connected("localhost:0", {}), "usage", 1, "port");
    expectFailure(connected("localhost:1", {"--send", "/nowhere/at.all"}), "usage", 1,
                  "cannot read the file [/nowhere/at.all]");
    expectFailure(connected("no.such.host.invalid:1", {}), "cannot-connect", 2, "cannot resolve");
    RunningServer server(secureServer());
    RunningServer another(secureServer(pki::otherName));
    expectFailure(connected(another.target(), secureClient()), "name-mismatch", 6,
                  "is for another name");
    expectFailure(
        connected(server.target(), secureClient({{"ClientCertificateToSendName", "nobody"}})),
        "own-certificate", 7, "certificate");
    RunningServer selfMade(secureServer(pki::selfSigned));
    expectFailure(connected(selfMade.target(), secureClient()), "peer-not-trusted", 5,
                  "is not trusted");
}

TEST(ConnectJson, wrongArgumentsStayProse) {
    const Outcome outcome = runTool({"connect", "localhost:1", "--json", "--tango"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(failureLines(outcome.errors), 1) << outcome.errors;
}

TEST(ConnectJson, hostileAnswerBeforeTheSwitchStaysInItsText) {
    ScriptedServer server(
        {{"", "220 hello\r\n"}, {"EHLO", "500 \"}\\\x1b]0;x\x07\xff{\"type\":\"sent\"}\r\n"}},
        ScriptedServer::Ending::closes);
    const Told told = connected(server.target(), switchable() + Words{"--starttls", "smtp"});
    expectFailure(told, "handshake", 4, "smtp: ");
    EXPECT_THAT(told.objects.back().at("message"), HasSubstr("{\"type\":\"sent\"}"));
    EXPECT_EQ(told.errors.find('\x1b'), std::string::npos);
    EXPECT_EQ(told.errors.find('\x07'), std::string::npos);
    EXPECT_THAT(ofType(told.objects, "sent"), IsEmpty());
}

TEST(ConnectJson, hostileNamesOfThePeerStayInTheirTexts) {
    const OwnCertificates own;
    const auto file = makeStrange({"localhost \"},{\\\x1b]0;x\x07", {"localhost", "a\"],\\.test"}});
    own.put("x.pem", contents(file));
    std::filesystem::copy_file(file, own.folder / "root" / "strange.pem");
    const Words certificates = {"--certificates", own.folder.string()};
    const auto with = [&](Words words) {
        words.resize(words.size() - 2);
        return words + certificates;
    };
    RunningServer server(with(secureServer("localhost")));
    const Told told = connected(server.target(), with(secureClient()), Command::Input::text("x"));
    EXPECT_EQ(told.status, 0) << told.errors;
    EXPECT_EQ(told.errors.find('\x1b'), std::string::npos);
    const auto summaries = ofType(told.objects, "connected");
    ASSERT_THAT(summaries, SizeIs(1)) << told.errors;
    EXPECT_THAT(readObject(summaries[0].at("peer")).at("subject"), HasSubstr("\"\"},{"));
}

} // namespace
} // namespace VexaSsl::test
