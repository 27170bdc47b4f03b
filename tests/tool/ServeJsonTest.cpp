// vexassl serve --json: what a script reads on standard output.
#include "tool/JsonReader.h"
#include "tool/StarttlsTalk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::SizeIs;

const std::string peerPattern = "127\\.0\\.0\\.1:[0-9]+";

// Stops it and reads all its lines.
std::vector<JsonObject> toldBy(RunningServer& server) {
    server.command().signal(SIGTERM);
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
    return readObjects(server.command().output());
}

TEST(ServeJson, reportsItsAddressAndEachConnection) {
    RunningServer server(secureServer() + Words{"--json", "--count", "1"});
    const Outcome client = runTool(Words{"connect", server.target()} + secureClient(),
                                   Command::Input::text("not for the script"));
    EXPECT_EQ(client.status, 0) << client.errors;
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
    const auto told = readObjects(server.command().output());
    ASSERT_THAT(told, SizeIs(3));
    EXPECT_EQ(told[0], (JsonObject{{"type", "listening"},
                                   {"address", "127.0.0.1:" + std::to_string(server.port())}}));
    EXPECT_THAT(told[1].at("peer"), MatchesRegex(peerPattern));
    EXPECT_EQ(told[1],
              (JsonObject{{"type", "begun"}, {"connection", "1"}, {"peer", told[1].at("peer")}}));
    EXPECT_EQ(told[2], (JsonObject{{"type", "ended"},
                                   {"connection", "1"},
                                   {"peer", told[1].at("peer")},
                                   {"outcome", "well"},
                                   {"status", "0"},
                                   {"message", "null"}}));
}

TEST(ServeJson, failureHasItsIdentifierItsStatusAndItsReason) {
    RunningServer server(secureServer() + Words{"--json", "--count", "1"});
    ClearClient rude(server.port());
    rude.say("GET / HTTP/1.0\r\n\r\n");
    rude.hearToTheEnd();
    EXPECT_EQ(server.command().exitStatus(), 4);
    const auto ended = ofType(readObjects(server.command().output()), "ended");
    ASSERT_THAT(ended, SizeIs(1));
    EXPECT_EQ(ended[0].at("outcome"), "handshake");
    EXPECT_EQ(ended[0].at("status"), "4");
    EXPECT_THAT(ended[0].at("message"), HasSubstr("no secure connection (AcceptSecurityContext"));
    EXPECT_EQ(failureLines(server.command().errors()), 0) << "it is told once";
    EXPECT_THAT(server.command().errors(), HasSubstr("#1 [Error] ")) << "in the library's words";
}

TEST(ServeJson, silentClientTimesOut) {
    RunningServer server(secureServer() + Words{"--json", "--timeout", "1"});
    ClearClient silent(server.port());
    silent.hearToTheEnd();
    ASSERT_TRUE(server.command().shows("\"ended\""));
    const auto ended = ofType(toldBy(server), "ended");
    ASSERT_THAT(ended, SizeIs(1));
    EXPECT_EQ(ended[0].at("outcome"), "timed-out");
    EXPECT_EQ(ended[0].at("status"), "3");
    EXPECT_EQ(ended[0].at("message"), "timed out during the handshake");
}

TEST(ServeJson, unknownClientIsNotTrusted) {
    RunningServer server(secureServer() +
                         Words{"--json", "--count", "1", "--expect-client", "client.test"});
    runTool(Words{"connect", server.target()} + secureClient());
    EXPECT_EQ(server.command().exitStatus(), 5);
    const auto ended = ofType(readObjects(server.command().output()), "ended");
    ASSERT_THAT(ended, SizeIs(1));
    EXPECT_EQ(ended[0].at("outcome"), "peer-not-trusted");
}

TEST(ServeJson, messageHasItsEnvelopeAndItsSize) {
    RunningServer server(switchableServer() + Words{"--starttls", "smtp", "--json"});
    const Outcome client = runTool(
        Words{"connect", server.target(), "--starttls", "smtp"} + switchable(),
        Command::Input::text("EHLO x\r\nMAIL FROM:<a@b.test>\r\nRCPT TO:<c@d.test>\r\n"
                             "RCPT TO:<e@f.test>\r\nDATA\r\nx\r\n.\r\n"
                             "MAIL FROM:<>\r\nRCPT TO:<g@h.test>\r\nDATA\r\n\r\n.\r\nQUIT\r\n"));
    EXPECT_EQ(client.status, 0) << client.errors;
    ASSERT_TRUE(server.command().shows("\"ended\""));
    const auto told = toldBy(server);
    const auto messages = ofType(told, "message");
    ASSERT_THAT(messages, SizeIs(2));
    EXPECT_EQ(messages[0], (JsonObject{{"type", "message"},
                                       {"connection", "1"},
                                       {"sender", "<a@b.test>"},
                                       {"recipients", "[\"<c@d.test>\",\"<e@f.test>\"]"},
                                       {"size", "3"}}));
    EXPECT_EQ(messages[1].at("sender"), "<>");
    EXPECT_EQ(messages[1].at("size"), "2");
    EXPECT_EQ(ofType(told, "ended")[0].at("outcome"), "well");
    EXPECT_THAT(server.command().errors(), Not(HasSubstr("message from")));
}

TEST(ServeJson, hostileAddressesStayInTheirTexts) {
    RunningServer server(switchableServer() + Words{"--starttls", "smtp", "--json"});
    const std::string sender = "<\"},{\\\x1b]0;x\x07\xff\xe2\x80\xa8@b>";
    const Outcome client =
        runTool(Words{"connect", server.target(), "--starttls", "smtp"} + switchable(),
                Command::Input::text("EHLO x\r\nMAIL FROM:" + sender +
                                     "\r\nRCPT TO:<\"],\"type\":\"ended\x7f\\\">\r\nDATA\r\n"
                                     "x\r\n.\r\nQUIT\r\n"));
    EXPECT_EQ(client.status, 0) << client.errors;
    ASSERT_TRUE(server.command().shows("\"outcome\""));
    const auto told = toldBy(server);
    const auto messages = ofType(told, "message");
    ASSERT_THAT(messages, SizeIs(1)) << server.command().output() << client.output;
    EXPECT_EQ(messages[0].at("sender"), "<\"},{\\\x1b]0;x\x07\xEF\xBF\xBD\xe2\x80\xa8@b>");
    EXPECT_THAT(ofType(told, "ended"), SizeIs(1));
    for (const char byte : {'\x1b', '\x07', '\x7f', '\xff'}) {
        EXPECT_EQ(server.command().output().find(byte), std::string::npos) << int{byte};
    }
}

TEST(ServeJson, everyConnectionThatBeganHasEndedBeforeTheServer) {
    RunningServer server(secureServer() + Words{"--json"});
    const HostSocket first = rawConnection(server.port());
    const HostSocket second = rawConnection(server.port());
    ASSERT_TRUE(server.command().shows("\"type\":\"begun\",\"connection\":2,"));
    const auto told = toldBy(server);
    EXPECT_THAT(ofType(told, "begun"), SizeIs(2));
    EXPECT_THAT(ofType(told, "ended"), SizeIs(2));
}

TEST(ServeJson, fullDiskIsUsageBeforeAClientConnects) {
    for (const Words& more : {Words{"--json"}, Words{}}) {
        Command server(Words{VEXASSL_TOOL, "serve", "--port", "0"} + more, Command::Input::none(),
                       "/dev/full");
        EXPECT_EQ(server.exitStatus(), 1);
        EXPECT_THAT(server.errors(), HasSubstr("vexassl: cannot write to standard output"));
    }
}

// A reader that takes the first line only, and leaves the pipe full after it. The stop comes once
// there is one more thread, that of the connection to be reported.
constexpr const char* stopBehindAFullPipe = R"sh(
    set -e
    pipe=$(mktemp -u) && mkfifo "$pipe" && exec 3<>"$pipe" && rm "$pipe"
    "$0" serve --port 0 --json >&3 2>/dev/null &
    server=$!
    read -r line <&3
    port=${line##*:}
    dd if=/dev/zero bs=4096 count=1000 oflag=nonblock of=/dev/fd/3 2>/dev/null || true
    threads() { ls /proc/$server/task | wc -l; }
    idle=$(threads)
    exec 4<>"/dev/tcp/127.0.0.1/${port//[!0-9]/}"
    until [ "$(threads)" -gt "$idle" ]; do sleep 0.01; done
    kill -TERM $server
    wait $server)sh";

TEST(ServeJson, stopEndsTheServerWithoutAReader) {
    Command script({"bash", "-c", stopBehindAFullPipe, VEXASSL_TOOL});
    EXPECT_EQ(script.exitStatus(), 1) << script.errors();
}

// The reader closes after the first line.
TEST(ServeJson, closingReaderEndsNoConnection) {
    const auto ready = freshFile(".ready");
    Command server({"bash", "-c",
                    "set -o pipefail; \"$0\" serve --port 0 --json --count 1 | "
                    "{ read -r line; echo \"$line\" >\"$1\"; }",
                    VEXASSL_TOOL, ready.string()});
    while (contents(ready).find('\n') == std::string::npos && server.running()) {
    }
    const std::string address = readObjects(contents(ready)).at(0).at("address");
    const Outcome client = runTool({"connect", address}, Command::Input::text("all the same"));
    EXPECT_EQ(client.status, 0) << client.errors;
    EXPECT_EQ(client.output, "all the same");
    EXPECT_EQ(server.exitStatus(), 1);
    EXPECT_THAT(server.errors(), HasSubstr("vexassl: cannot write to standard output"));
}

} // namespace
} // namespace VexaSsl::test
