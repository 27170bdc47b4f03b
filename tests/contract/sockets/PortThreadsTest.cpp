// Many threads and many sockets on one completion port.
#include "contract/sockets/Loopback.h"

#include <atomic>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace VexaSsl::test {

namespace {

constexpr ULONG_PTR stopKey = 99;

} // namespace

// Each connection receives a text that its peer drips; the threads take turns on the connections.
using PortThreads = ContractTest;

TEST_F(PortThreads, everyCompletionIsDeliveredOnce) {
    constexpr std::size_t connections = 20;
    constexpr int threads = 6;
    const std::string text = "each byte once, and in order";
    const ScopedPort port;
    struct Connection {
        Pair pair;
        Receive receive{3};
        std::string text;
    };
    std::vector<std::unique_ptr<Connection>> all;
    std::map<OVERLAPPED*, Connection*> byStructure;
    for (std::size_t i = 0; i < connections; ++i) {
        all.push_back(std::make_unique<Connection>());
        all.back()->pair = connectedPair();
        byStructure[&all.back()->receive.overlapped] = all.back().get();
        ASSERT_TRUE(port.bind(all.back()->pair.server, 1));
    }
    std::atomic<std::size_t> ended{0};
    std::vector<std::jthread> workers;
    for (int i = 0; i < threads; ++i) {
        workers.emplace_back([&] {
            for (;;) {
                const Dequeued got = dequeue(port.get());
                if (got.key == stopKey) {
                    return;
                }
                ASSERT_NE(got.result, FALSE);
                Connection& connection = *byStructure.at(got.overlapped);
                if (got.transferred == 0) {
                    ++ended;
                    continue;
                }
                connection.text += connection.receive.buffer.substr(0, got.transferred);
                const int posted = connection.receive.post(connection.pair.server);
                ASSERT_TRUE(posted == 0 || posted == WSA_IO_PENDING);
            }
        });
    }
    for (const auto& connection : all) {
        const int posted = connection->receive.post(connection->pair.server);
        ASSERT_TRUE(posted == 0 || posted == WSA_IO_PENDING);
    }
    for (const char& letter : text) {
        for (const auto& connection : all) {
            sendText(connection->pair.client, {&letter, 1});
        }
    }
    for (const auto& connection : all) {
        connection->pair.client.close();
    }
    while (ended < connections) {
        giveOthersTime();
    }
    for (int i = 0; i < threads; ++i) {
        host::PostQueuedCompletionStatus(port.get(), 0, stopKey, nullptr);
    }
    workers.clear();
    for (const auto& connection : all) {
        EXPECT_EQ(connection->text, text);
    }
    EXPECT_EQ(ended, connections);
}

TEST_F(PortThreads, socketsMayBeClosedWhileOthersWait) {
    constexpr int rounds = 100;
    constexpr int threads = 4;
    const ScopedPort port;
    std::atomic<int> completions{0};
    std::vector<std::jthread> workers;
    for (int i = 0; i < threads; ++i) {
        workers.emplace_back([&] {
            for (;;) {
                const Dequeued got = dequeue(port.get());
                if (got.key == stopKey) {
                    return;
                }
                delete reinterpret_cast<Receive*>(got.key);
                ++completions;
            }
        });
    }
    for (int i = 0; i < rounds; ++i) {
        Pair pair = connectedPair();
        auto* receive = new Receive(8); // the thread that takes its completion deletes it
        ASSERT_TRUE(port.bind(pair.server, reinterpret_cast<ULONG_PTR>(receive)));
        ASSERT_EQ(receive->post(pair.server), WSA_IO_PENDING);
        if (i % 2 == 0) {
            sendText(pair.client, "x");
        }
        pair.server.close();
    }
    while (completions < rounds) {
        giveOthersTime();
    }
    for (int i = 0; i < threads; ++i) {
        host::PostQueuedCompletionStatus(port.get(), 0, stopKey, nullptr);
    }
    workers.clear();
    EXPECT_EQ(completions, rounds);
}

TEST_F(PortThreads, thousandsOfSocketsShareOnePort) {
    const std::size_t count = affordablePairs(5000);
    const ScopedPort port;
    const Socket listener = listenOnLoopback();
    std::vector<Socket> clients;
    std::vector<Socket> servers;
    std::vector<std::unique_ptr<Receive>> receives;
    for (std::size_t i = 0; i < count; ++i) {
        clients.push_back(connectedTo(listener));
        servers.emplace_back(platform::accept(listener.get(), nullptr, nullptr));
        receives.push_back(std::make_unique<Receive>(4));
        ASSERT_TRUE(port.bind(servers.back(), i));
        ASSERT_EQ(receives.back()->post(servers.back()), WSA_IO_PENDING);
    }
    for (const Socket& client : clients) {
        sendText(client, "data");
    }
    std::vector<int> seen(count, 0);
    for (std::size_t i = 0; i < count; ++i) {
        const Dequeued got = dequeue(port.get());
        ASSERT_NE(got.result, FALSE);
        EXPECT_EQ(got.overlapped, &receives[got.key]->overlapped);
        ++seen[got.key];
    }
    EXPECT_EQ(seen, std::vector<int>(count, 1));
}

} // namespace VexaSsl::test
