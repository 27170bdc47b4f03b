// vexassl serve among strangers who mean ill or have broken off: honest clients are served all the
// same, every failure is one line, and nothing of it stays.
#include "fakes/Sweep.h"
#include "integration/support/Meeting.h"
#include "integration/support/Pattern.h"
#include "tool/Tool.h"

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include <sys/socket.h>

namespace VexaSsl::test {
namespace {

constexpr std::size_t mostAtOnce = 16;
// A ClientHello that is announced and doesn't come.
const std::string beginning("\x16\x03\x01\x3e\x80\x01\x00\x3e\x7c\x03\x03", 11);

void give(const HostSocket& socket, std::string_view bytes) {
    ::send(socket.descriptor(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

// What is left when it returns stays open until the server ends it.
using Stranger = std::function<void(HostSocket&)>;

const std::vector<Stranger>& strangers() {
    static const std::vector<Stranger> kinds = {
        [](HostSocket&) {}, // silent
        [](HostSocket& socket) { give(socket, beginning); },
        [](HostSocket& socket) { give(socket, "GET / HTTP/1.0\r\n\r\n"); },
        [](HostSocket& socket) {
            give(socket, beginning);
            ::shutdown(socket.descriptor(), SHUT_WR);
        },
        [](HostSocket& socket) {
            give(socket, beginning);
            resetAtClose(socket.handle());
            socket.close();
        },
        [](HostSocket& socket) { give(socket, Pattern().at(0, 20000)); },
    };
    return kinds;
}

// Whether the server has ended the connection, within the time that a socket waits.
bool isEnded(const HostSocket& socket) {
    char buffer[4096];
    ssize_t count = 0;
    while ((count = ::recv(socket.descriptor(), buffer, sizeof buffer, 0)) > 0) {
    }
    return count == 0 || errno == ECONNRESET || errno == EBADF;
}

// A whole conversation. Result: every byte came back.
bool isServed(std::uint16_t port, std::size_t number) {
    Peer peer = dial(port, Settings::encrypted());
    const std::string text(Pattern().at(number * 1000, 20000));
    return peer.established() && peer.say(text) && peer.hear(text.size()) == text;
}

struct Tally {
    std::size_t honest = 0;
    std::size_t served = 0;
    std::size_t hostile = 0;
    std::size_t ended = 0;
};

// Six strangers of six kinds, then an honest client, over and over.
Tally visit(const RunningServer& server, std::size_t rounds) {
    Tally tally;
    std::vector<HostSocket> visitors;
    for (std::size_t round = 0; round < rounds; ++round) {
        for (const Stranger& behave : strangers()) {
            visitors.push_back(rawConnection(server.port()));
            behave(visitors.back());
            ++tally.hostile;
        }
        ++tally.honest;
        tally.served += isServed(server.port(), round) ? 1 : 0;
    }
    for (const HostSocket& visitor : visitors) {
        tally.ended += isEnded(visitor) ? 1 : 0;
    }
    return tally;
}

void expectServiceAmongStrangers(const std::string& kind, const Words& more) {
    RunningServer server(secureServer() +
                         Words{"--timeout", "1", "--max-connections", std::to_string(mostAtOnce)} +
                         more);
    ASSERT_TRUE(isServed(server.port(), 0)); // what is made once is there before counting
    const std::size_t before = server.command().settledDescriptors();
    const Tally tally = visit(server, sweepIsFull() ? 100 : 8);
    EXPECT_EQ(tally.served, tally.honest) << server.command().errors();
    EXPECT_EQ(tally.ended, tally.hostile);
    const std::size_t after = server.command().settledDescriptors();
    EXPECT_EQ(after, before);
    server.command().signal(SIGTERM);
    EXPECT_EQ(server.command().exitStatus(), 0);
    const int lines = failureLines(server.command().errors());
    EXPECT_EQ(lines, static_cast<int>(tally.hostile)) << server.command().errors();
    tellFigure("The tool as a service",
               kind + ", at most " + std::to_string(mostAtOnce) +
                   " at once: " + std::to_string(tally.served) + " of " +
                   std::to_string(tally.honest) + " honest clients served in full beside " +
                   std::to_string(tally.hostile) + " hostile ones of six kinds, " +
                   std::to_string(tally.ended) + " of them ended, " + std::to_string(lines) +
                   " lines, " + std::to_string(after - before) + " descriptors left");
}

TEST(ServeTorture, honestClientsAreServedAmongStrangers) {
    expectServiceAmongStrangers("a thread a connection", {});
}

TEST(ServeTorture, honestClientsAreServedAmongStrangersOnOverlappedReceives) {
    expectServiceAmongStrangers("overlapped receives", {"--overlapped"});
}

} // namespace
} // namespace VexaSsl::test
