// What an idle connection of vexassl serve --overlapped costs, and who waits for whom there.
#include "fakes/Sweep.h"
#include "tool/RawTalk.h"
#include "tool/Tool.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>

namespace VexaSsl::test {
namespace {

// Raises the limit of open files of this process and of those it starts. Returns the limit.
rlim_t allowDescriptors() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    return limit.rlim_cur;
}

// The value of a line of /proc/PID/status, such as "VmRSS" in KiB.
std::size_t statusOf(const Command& program, const std::string& name) {
    std::ifstream lines("/proc/" + std::to_string(program.processNumber()) + "/status");
    std::string word;
    std::size_t value = 0;
    while (lines >> word) {
        if (word == name + ":") {
            lines >> value;
        }
    }
    return value;
}

struct Client {
    explicit Client(std::uint16_t port) : socket(rawConnection(port)) {
        setTimeouts(socket.handle());
        isConnected = runHandshake(peer, socket);
    }

    bool echoes(const std::string& text) {
        sendAll(socket, peer.protect(text));
        std::string echo;
        while (echo.size() < text.size()) {
            const Bytes some = receiveSome(socket);
            if (some.empty()) {
                return false;
            }
            echo += peer.open(some);
        }
        return echo == text;
    }

    HostSocket socket;
    RawPeer peer = RawPeer::client();
    bool isConnected = false;
};

TEST(ServeIdle, twoThousandConnectionsTakeSixtyKilobytesAndOneDescriptorEach) {
#ifdef VEXASSL_UNDER_SANITIZER
    GTEST_SKIP() << "a sanitizer has memory of its own for each connection";
#endif
    constexpr std::size_t connections = 2000;
    if (allowDescriptors() < connections + 200) {
        GTEST_SKIP() << "the limit of open files is too low for " << connections << " connections";
    }
    RunningServer server(
        secureServer(pki::localhostElliptic) +
        Words{"--overlapped", "--max-connections", std::to_string(2 * connections)});
    ASSERT_TRUE(Client(server.port()).echoes("warm-up"));
    const std::size_t descriptors = server.command().settledDescriptors();
    const std::size_t resident = statusOf(server.command(), "VmRSS");
    const std::size_t threads = statusOf(server.command(), "Threads");

    std::vector<HostSocket> idle; // without their peers, which take more memory than the server
    while (idle.size() < connections) {
        Client client(server.port());
        ASSERT_TRUE(client.isConnected && client.echoes("a small echo")) << idle.size();
        idle.push_back(std::move(client.socket));
    }
    const double each =
        1.024 * static_cast<double>(statusOf(server.command(), "VmRSS") - resident) / connections;
    EXPECT_LE(each, 60.0);
    EXPECT_EQ(server.command().settledDescriptors(), descriptors + connections);
    EXPECT_LE(statusOf(server.command(), "Threads"), threads);
    char text[100];
    std::snprintf(text, sizeof text, "%zu idle connections: %.1f KB and 1 descriptor each",
                  connections, each);
    reportFigure("serve --overlapped", text);
    server.command().signal(SIGTERM);
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
}

// Sends until the server takes no more, because it waits for its echo to be read.
void fill(const HostSocket& socket) {
    const std::string block(65536, 'x');
    for (bool takesMore = true; takesMore;) {
        while (::send(socket.descriptor(), block.data(), block.size(),
                      MSG_NOSIGNAL | MSG_DONTWAIT) > 0) {
        }
        // A server that still echoes takes more soon.
        pollfd entry{socket.descriptor(), POLLOUT, 0};
        takesMore = ::poll(&entry, 1, 300) > 0;
    }
}

TEST(ServeIdle, clientsThatNeverReadHoldUpNoOther) {
    RunningServer server(Words{"--overlapped"});
    std::vector<HostSocket> greedy;
    while (greedy.size() < 2 * std::thread::hardware_concurrency()) {
        greedy.push_back(rawConnection(server.port()));
        fill(greedy.back());
    }
    const Outcome outcome =
        runTool({"connect", server.target()}, Command::Input::text("past them"));
    EXPECT_EQ(outcome.output, "past them") << outcome.errors;
    server.command().signal(SIGTERM);
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
}

} // namespace
} // namespace VexaSsl::test
