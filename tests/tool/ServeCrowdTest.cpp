// vexassl serve with hundreds of hostile peers at once, and on a system without descriptors left:
// honest clients are served, and the log stays readable.
#include "fakes/Sweep.h"
#include "integration/support/HostSocket.h"
#include "tool/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;

// The first bytes of a TLS record of 16,000 bytes; nothing of a handshake is wrong so far.
constexpr std::string_view halfAHello("\x16\x03\x01\x3e\x80\x01\x00\x3e\x7c\x03\x03", 11);

std::size_t linesWith(const std::string& text, std::string_view part) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) {
        ++count;
    }
    return count;
}

// So many peers, each of one kind in turn, from the first to the end of the object.
class Rabble {
public:
    Rabble(std::uint16_t port, std::size_t size) {
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
        while (peers.size() < size) {
            peers.push_back(rawConnection(port));
            begin(peers.size() - 1);
        }
        feeder = std::jthread([this](const std::stop_token& stop) { feed(stop); });
    }

    // Waits until the server has ended them all. Returns how many it has ended.
    std::size_t ended() {
        std::size_t count = 0;
        for (const HostSocket& peer : peers) {
            char buffer[1024];
            int got = 0;
            while ((got = receiveBytes(peer.handle(), buffer, sizeof buffer)) > 0) {
            }
            count += got == 0 || errno == ECONNRESET ? 1 : 0;
        }
        return count;
    }

private:
    enum Kind { silent, halfOpen, garbage, slow, kinds };

    void begin(std::size_t number) const {
        switch (number % kinds) {
        case halfOpen:
            sendBytes(peers[number].handle(), halfAHello);
            break;
        case garbage:
            sendBytes(peers[number].handle(), std::string(500 + number, '\x17'));
            break;
        default:
            break;
        }
    }

    // Bytes of a hello, one at a time, so that no receive is ever late.
    void feed(const std::stop_token& stop) const {
        for (std::size_t turn = 0; !stop.stop_requested(); ++turn) {
            const char byte = turn < halfAHello.size() ? halfAHello[turn] : '\x01';
            for (std::size_t number = slow; number < peers.size(); number += kinds) {
                sendBytes(peers[number].handle(), {&byte, 1});
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    }

    std::vector<HostSocket> peers;
    std::jthread feeder; // ends before the peers do
};

void expectHonestService(const RunningServer& server, int clients, std::size_t& served) {
    for (int i = 0; i < clients; ++i) {
        const std::string text = "honest " + std::to_string(i);
        const Outcome outcome =
            runTool(Words{"connect", server.target()} + secureClient(), Command::Input::text(text));
        EXPECT_EQ(outcome.output, text) << outcome.errors;
        served += outcome.output == text ? 1 : 0;
    }
}

// More peers than may be served at once, so that the honest ones stand in a queue with them.
void serveAmong(const Words& more) {
    const std::size_t size = sweepIsFull() ? 4000 : 400;
    const int clients = 10;
    RunningServer server(secureServer(pki::localhostElliptic) + more +
                         Words{"--timeout", "4", "--max-connections", std::to_string(size / 2)});
    std::size_t warmUp = 0;
    expectHonestService(server, 1, warmUp);
    const std::size_t before = server.command().settledDescriptors();
    std::size_t served = 0;
    std::size_t ended = 0;
    {
        Rabble rabble(server.port(), size);
        expectHonestService(server, clients, served);
        ended = rabble.ended();
    }
    EXPECT_EQ(ended, size);
    const std::size_t after = server.command().settledDescriptors();
    EXPECT_LE(after, before);
    const std::string errors = server.command().errors();
    EXPECT_EQ(static_cast<std::size_t>(failureLines(errors)), size);
    EXPECT_EQ(linesWith(errors, "timed out during the handshake"), size / 4 * 3);
    const std::size_t lines = linesWith(errors, "\n");
    EXPECT_LE(lines, 4 * size + 2 * (clients + 1));
    server.command().signal(SIGTERM);
    EXPECT_EQ(server.command().exitStatus(), 0);
    reportFigure("The tool as a service",
                 std::to_string(size) + " silent, half-open, garbage and slow peers" +
                     (more.empty() ? "" : " (" + more.front() + ")") + ": " +
                     std::to_string(ended) + " ended in time, " + std::to_string(served) + " of " +
                     std::to_string(clients) + " honest clients served meanwhile, descriptors " +
                     std::to_string(before) + " before and " + std::to_string(after) + " after, " +
                     std::to_string(lines / size) + " lines a peer");
}

TEST(ServeCrowd, honestClientsAreServedAmongHundredsOfOthers) {
    serveAmong({});
}

TEST(ServeCrowd, honestClientsAreServedAmongHundredsOfOthersByOverlappedReceives) {
    serveAmong({"--overlapped"});
}

void limitDescriptors(Command& server, rlim_t number) {
    const rlimit limit{number, number};
    ASSERT_EQ(::prlimit(server.processNumber(), RLIMIT_NOFILE, &limit, nullptr), 0);
}

TEST(ServeCrowd, lackOfDescriptorsIsReportedOnceAndPasses) {
    RunningServer server(secureServer(pki::localhostElliptic) + Words{"--timeout", "30"});
    std::size_t served = 0;
    expectHonestService(server, 1, served);
    limitDescriptors(server.command(), server.command().settledDescriptors() + 4);
    {
        std::vector<HostSocket> silent;
        while (silent.size() < 20) {
            silent.push_back(rawConnection(server.port()));
        }
        EXPECT_TRUE(server.command().complains(
            "vexassl: cannot take connections for now: too many open files"))
            << server.command().errors();
    }
    expectHonestService(server, 3, served);
    EXPECT_EQ(linesWith(server.command().errors(), "too many open files"), 1U)
        << server.command().errors();
    server.command().signal(SIGTERM);
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
    reportFigure("The tool as a service",
                 "20 silent peers with descriptors for 4: told once, then " +
                     std::to_string(served - 1) + " of 3 honest clients served");
}

// Each connection at once needs a descriptor; the ones beyond wait in the queue instead of taking
// what those that are served need.
TEST(ServeCrowd, neverAcceptsMoreConnectionsThanDescriptors) {
    RunningServer server(secureServer(pki::localhostElliptic) +
                             Words{"--overlapped", "--timeout", "4"},
                         {"prlimit", "--nofile=64:64"});
    EXPECT_TRUE(server.command().complains("vexassl: note: at most "));
    std::size_t served = 0;
    {
        Rabble rabble(server.port(), 30);
        expectHonestService(server, 3, served);
        EXPECT_EQ(rabble.ended(), 30U);
    }
    EXPECT_EQ(served, 3U);
    EXPECT_EQ(linesWith(server.command().errors(), "too many open files"), 0U)
        << server.command().errors();
    server.command().signal(SIGTERM);
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
}

// With a descriptor left for the listener and none to wait with.
TEST(ServeCrowd, failedWaitForPeersIsAFailure) {
#ifdef VEXASSL_UNDER_SANITIZER
    GTEST_SKIP() << "the sanitizer itself needs a descriptor to look at an object's type";
#endif
    RunningServer server(Words{}, {"prlimit", "--nofile=5:5"});
    EXPECT_EQ(server.command().exitStatus(), 2);
    EXPECT_THAT(server.command().errors(),
                HasSubstr("vexassl: cannot wait for clients: too many open files\n"));
}

} // namespace
} // namespace VexaSsl::test
