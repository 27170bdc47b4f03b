// Many threads and many sockets on one completion port.
#include "contract/sockets/Loopback.h"

#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace VexaSsl::test {

namespace {

// Threads that dequeue completions and handle them until their destructor.
class Workers {
public:
    Workers(const ScopedPort& port, int count, const std::function<void(const Dequeued&)>& handle)
        : port(port) {
        for (int i = 0; i < count; ++i) {
            threads.emplace_back([&port, handle] {
                for (;;) {
                    const Dequeued got = dequeue(port.get());
                    if (got.key == stopKey) {
                        return;
                    }
                    handle(got);
                }
            });
        }
    }
    ~Workers() {
        for (std::size_t i = 0; i < threads.size(); ++i) {
            host::PostQueuedCompletionStatus(port.get(), 0, stopKey, nullptr);
        }
    }
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

private:
    static constexpr ULONG_PTR stopKey = 99;

    const ScopedPort& port;
    std::vector<std::jthread> threads;
};

} // namespace

// Each connection receives a text whose bytes are sent one at a time; every thread serves every
// connection.
using PortThreads = ContractTest;

TEST_F(PortThreads, everyCompletionIsDeliveredOnce) {
    constexpr std::size_t connections = 20;
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
    auto workers = std::make_unique<Workers>(port, 6, [&](const Dequeued& got) {
        ASSERT_NE(got.result, FALSE);
        Connection& connection = *byStructure.at(got.overlapped);
        if (got.transferred == 0) {
            ++ended;
            return;
        }
        connection.text += connection.receive.buffer.substr(0, got.transferred);
        const int posted = connection.receive.post(connection.pair.server);
        ASSERT_TRUE(posted == 0 || posted == WSA_IO_PENDING);
    });
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
        yieldToOtherThreads();
    }
    workers.reset();
    for (const auto& connection : all) {
        EXPECT_EQ(connection->text, text);
    }
    EXPECT_EQ(ended, connections);
}

TEST_F(PortThreads, socketsMayBeClosedWhileThreadsWait) {
    constexpr int rounds = 100;
    const ScopedPort port;
    std::atomic<int> completions{0};
    auto workers = std::make_unique<Workers>(port, 4, [&](const Dequeued& got) {
        delete reinterpret_cast<Receive*>(got.key);
        ++completions;
    });
    for (int i = 0; i < rounds; ++i) {
        Pair pair = connectedPair();
        auto* receive = new Receive(8); // deleted by the thread that dequeues its completion
        ASSERT_TRUE(port.bind(pair.server, reinterpret_cast<ULONG_PTR>(receive)));
        ASSERT_EQ(receive->post(pair.server), WSA_IO_PENDING);
        if (i % 2 == 0) {
            sendText(pair.client, "x");
        }
        pair.server.close();
    }
    while (completions < rounds) {
        yieldToOtherThreads();
    }
    workers.reset();
    EXPECT_EQ(completions, rounds);
}

TEST_F(PortThreads, thousandsOfSocketsShareOnePort) {
    const std::size_t count = pairsWithinLimit(5000);
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
