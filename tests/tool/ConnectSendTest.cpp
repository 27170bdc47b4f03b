// vexassl connect with a file to send, with its progress on a terminal, with several connections,
// and with what it says of the connection.
#include "integration/support/HostSocket.h"
#include "tool/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace VexaSsl::test {
namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::string bigFile(std::size_t size) {
    return Command::Input::text(std::string(size, 'x')).path.string();
}

TEST(ConnectSend, fileIsSentInsteadOfStandardInput) {
    RunningServer server(secureServer());
    const auto file = Command::Input::text(std::string("a\0b\xff\n", 5)).path.string();
    const Outcome outcome =
        runTool(Words{"connect", server.target(), "--send", file} + secureClient(),
                Command::Input::text("not this"));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, std::string("a\0b\xff\n", 5));
}

TEST(ConnectSend, missingFileIsUsageBeforeConnecting) {
    for (const char* file : {"/nowhere/at.all", "/"}) {
        const Outcome outcome = runTool({"connect", "localhost:1", "--send", file});
        EXPECT_EQ(outcome.status, 1) << outcome.errors;
        EXPECT_THAT(outcome.errors, HasSubstr("cannot read the file [" + std::string(file) + "]"));
    }
}

TEST(ConnectSend, readErrorOfAFileIsNoEnd) {
    RunningServer server{Words{}};
    const Outcome outcome =
        runTool({"connect", server.target(), "--json", "--send", "/proc/self/mem"});
    EXPECT_EQ(outcome.status, 1) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr("the file can't be read to its end"));
    EXPECT_THAT(outcome.errors, ::testing::Not(HasSubstr("\"sent\"")));
}

TEST(ConnectSend, readErrorOfStandardInputIsNoEnd) {
    RunningServer server{Words{}};
    const Outcome outcome = runTool({"connect", server.target()}, Command::Input::file("/"));
    EXPECT_EQ(outcome.status, 1) << outcome.errors;
    EXPECT_EQ(outcome.errors, plainTextNote + "vexassl: standard input can't be read\n");
}

TEST(ConnectSend, noProgressWithoutATerminal) {
    RunningServer server{Words{}};
    const Outcome outcome =
        runTool({"connect", server.target(), "--send", bigFile(std::size_t{8} << 20)});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output.size(), std::size_t{8} << 20);
    EXPECT_EQ(outcome.errors, plainTextNote);
}

// What the tool shows on a terminal as its standard error; its standard output goes elsewhere.
std::string onATerminal(const Words& words) {
    std::string line;
    for (const std::string& word : words) {
        line += "'" + word + "' ";
    }
    Command command(
        {"script", "--quiet", "--return", "--command", line + ">/dev/null", "/dev/null"},
        Command::Input::open());
    EXPECT_EQ(command.exitStatus(), 0) << command.output();
    return command.output();
}

// Accepts one connection, lets it wait, and then reads it to its end. The wait is longer than the
// pause between two progress lines, so that sending is seen half done on the fastest machine.
void readLate(const Listener& listener) {
    const HostSocket peer(
        static_cast<SOCKET>(::accept(static_cast<int>(listener.handle()), nullptr, nullptr)));
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    std::vector<char> buffer(std::size_t{1} << 20);
    while (::recv(peer.descriptor(), buffer.data(), buffer.size(), 0) > 0) {
    }
}

TEST(ConnectSend, terminalShowsAmountRateAndRemainder) {
    const Listener listener;
    std::thread peer([&] { readLate(listener); });
    const std::string shown = onATerminal(connectTo("127.0.0.1:" + std::to_string(listener.port()),
                                                    {"--send", bigFile(std::size_t{64} << 20)}));
    peer.join();
    EXPECT_THAT(shown, ContainsRegex("of 64\\.0 MiB, [0-9.]+ [KMG]iB/s, [0-9]+ s left"));
    EXPECT_THAT(shown, ContainsRegex("64\\.0 MiB of 64\\.0 MiB, [0-9.]+ [KMG]iB/s\r\n$"));
}

TEST(ConnectSend, emptyFileIsSentAtOnce) {
    RunningServer server{Words{}};
    const std::string shown = onATerminal(connectTo(server.target(), {"--send", bigFile(0)}));
    EXPECT_THAT(shown, HasSubstr("0 B of 0 B\r\n"));
}

TEST(ConnectSend, peerThatStopsReadingTimesOut) {
    const Listener nobodyReads;
    const std::string target = "127.0.0.1:" + std::to_string(nobodyReads.port());
    const std::string file = bigFile(std::size_t{64} << 20);
    Command fromAFile(connectTo(target, {"--timeout", "1", "--send", file}));
    EXPECT_EQ(fromAFile.exitStatus(), 3) << fromAFile.errors();
    EXPECT_THAT(fromAFile.errors(), HasSubstr("timed out: the peer takes no more"));
    Command fromAPipe(connectTo(target, {"--timeout", "1"}), Command::Input::file(file));
    EXPECT_EQ(fromAPipe.exitStatus(), 3) << fromAPipe.errors();
}

// --- --count.

TEST(ConnectCount, sendsTheSameFileOnEachConnection) {
    RunningServer server(secureServer() + Words{"--count", "3"});
    const auto file = Command::Input::text("ab").path.string();
    const Outcome outcome =
        runTool(Words{"connect", server.target(), "--count", "3", "--send", file} + secureClient());
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "ababab");
    EXPECT_EQ(server.command().exitStatus(), 0);
}

TEST(ConnectCount, moreThanOneReadNoStandardInput) {
    RunningServer server(secureServer());
    const Outcome outcome =
        runTool(Words{"connect", server.target(), "--count", "2"} + secureClient(),
                Command::Input::text("never sent"));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "");
}

TEST(ConnectCount, theFirstFailureEndsIt) {
    RunningServer server(secureServer() + Words{"--count", "1"});
    const Outcome outcome =
        runTool(Words{"connect", server.target(), "--count", "3"} + secureClient());
    EXPECT_NE(outcome.status, 0);
    EXPECT_EQ(failureLines(outcome.errors), 1) << outcome.errors;
}

// --- The summary.

TEST(ConnectSummary, oneLineShowsWhatWasNegotiatedAndWithWhom) {
    RunningServer server(secureServer());
    const Outcome outcome = runTool(Words{"connect", server.target()} + secureClient());
    EXPECT_THAT(outcome.errors,
                ContainsRegex("connected to localhost:[0-9]+: TLS 1.2 with "
                              "TLS_ECDHE_RSA_WITH_[A-Z0-9_]+, peer \\[O=case server-rsa, "
                              "CN=localhost\\], issued by \\[O=case authority, CN=Throwaway "
                              "Authority\\]\n"));
}

TEST(ConnectSummary, logLayersDoNotHideIt) {
    RunningServer server(secureServer());
    const Outcome outcome =
        runTool(Words{"connect", server.target()} + secureClient({{"InjectLogLayers", "True"}}));
    EXPECT_THAT(outcome.errors, HasSubstr(": TLS 1.2 with TLS_"));
}

TEST(ConnectSummary, plainTextHasNoSummary) {
    RunningServer server{Words{}};
    EXPECT_EQ(runTool({"connect", server.target()}).errors, plainTextNote);
}

// What comes meanwhile gives the sender no more time.
TEST(ConnectSend, peerThatSendsAndNeverReadsTimesOut) {
    const Listener listener;
    Command client(Words{VEXASSL_TOOL, "connect", "127.0.0.1:" + std::to_string(listener.port()),
                         "--timeout", "2", "--send", bigFile(std::size_t{64} << 20)});
    const HostSocket peer(acceptFrom(listener.handle()));
    std::this_thread::sleep_for(std::chrono::seconds(1));
    sendBytes(peer.handle(), "I talk on\n");
    EXPECT_TRUE(client.shows("I talk on\n"));
    EXPECT_EQ(client.exitStatus(), 3);
    EXPECT_THAT(client.errors(), HasSubstr("timed out: the peer takes no more"));
}

} // namespace
} // namespace VexaSsl::test
