// Completion ports: overlapped operations that end in one, and posted completions.
#include "contract/sockets/Loopback.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <mutex>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace VexaSsl::test {

namespace {

constexpr ULONG_PTR stopKey = 99;

int lastError() {
    return platform::WSAGetLastError();
}

// How many connections the limit of descriptors allows, at most wanted.
std::size_t affordablePairs(std::size_t wanted) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    return std::min<std::size_t>(wanted, (limit.rlim_cur - 100) / 2);
}

} // namespace

TEST(CompletionPort, givesPostedCompletionsInTheirOrder) {
    const ScopedPort port;
    OVERLAPPED overlapped;
    EXPECT_NE(platform::PostQueuedCompletionStatus(port.get(), 1, 10, &overlapped), FALSE);
    EXPECT_NE(platform::PostQueuedCompletionStatus(port.get(), 2, 20, nullptr), FALSE);
    const Dequeued first = dequeue(port.get());
    EXPECT_NE(first.result, FALSE);
    EXPECT_EQ(first.transferred, 1U);
    EXPECT_EQ(first.key, 10U);
    EXPECT_EQ(first.overlapped, &overlapped);
    const Dequeued second = dequeue(port.get());
    EXPECT_NE(second.result, FALSE);
    EXPECT_EQ(second.key, 20U);
    EXPECT_EQ(second.overlapped, nullptr);
}

TEST(CompletionPort, emptyOneTimesOut) {
    const ScopedPort port;
    for (const DWORD milliseconds : {0U, 20U}) {
        const Dequeued got = dequeue(port.get(), milliseconds);
        EXPECT_EQ(got.result, FALSE);
        EXPECT_EQ(got.overlapped, nullptr);
        EXPECT_EQ(got.error, static_cast<int>(platform::WSA_WAIT_TIMEOUT));
    }
}

TEST(CompletionPort, signalsNeitherEndNorExtendTheWait) {
    const ScopedPort port;
    const SignalStorm storm;
    EXPECT_EQ(dequeue(port.get(), 50).error, static_cast<int>(platform::WSA_WAIT_TIMEOUT));
    EXPECT_GT(SignalStorm::delivered(), 0);
}

TEST(CompletionPort, postingWakesAWaitingThread) {
    const ScopedPort port;
    const std::jthread waiter([&] { EXPECT_EQ(dequeue(port.get()).key, 5U); });
    giveOthersTime();
    platform::PostQueuedCompletionStatus(port.get(), 0, 5, nullptr);
}

TEST(CompletionPort, closingEndsEveryWait) {
    const HANDLE port =
        platform::CreateIoCompletionPort(platform::invalidHandle(), platform::noHandle, 0, 0);
    std::vector<std::jthread> waiters;
    for (int i = 0; i < 4; ++i) {
        waiters.emplace_back([&] {
            const Dequeued got = dequeue(port);
            EXPECT_EQ(got.result, FALSE);
            EXPECT_EQ(got.overlapped, nullptr);
            EXPECT_EQ(got.error, WSA_INVALID_HANDLE);
        });
    }
    giveOthersTime();
    EXPECT_NE(platform::CloseHandle(port), FALSE);
}

TEST(CompletionPort, staleHandlesAreInvalid) {
    const HANDLE stale =
        platform::CreateIoCompletionPort(platform::invalidHandle(), platform::noHandle, 0, 0);
    EXPECT_NE(platform::CloseHandle(stale), FALSE);
    EXPECT_EQ(platform::CloseHandle(stale), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
    EXPECT_EQ(dequeue(stale).error, WSA_INVALID_HANDLE);
    platform::WSASetLastError(0);
    EXPECT_EQ(platform::PostQueuedCompletionStatus(stale, 0, 0, nullptr), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
    const Socket socket = tcpSocket();
    platform::WSASetLastError(0);
    EXPECT_EQ(platform::CreateIoCompletionPort(platform::socketHandle(socket.get()), stale, 0, 0),
              nullptr);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
}

TEST(CompletionPort, eventIsNoPort) {
    const ScopedEvent event;
    EXPECT_EQ(dequeue(event.get()).error, WSA_INVALID_HANDLE);
    EXPECT_EQ(platform::CloseHandle(event.get()), FALSE);
}

TEST(CompletionPort, bindingChecksItsArguments) {
    const ScopedPort port;
    EXPECT_EQ(platform::CreateIoCompletionPort(platform::socketHandle(INVALID_SOCKET - 1),
                                               port.get(), 0, 0),
              nullptr);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
    EXPECT_EQ(platform::CreateIoCompletionPort(platform::invalidHandle(), port.get(), 0, 0),
              nullptr);
    EXPECT_EQ(lastError(), WSA_INVALID_PARAMETER);
    const Socket socket = tcpSocket();
    EXPECT_TRUE(port.bind(socket, 1));
    EXPECT_FALSE(port.bind(socket, 2));
    EXPECT_EQ(lastError(), WSA_INVALID_PARAMETER);
}

TEST(CompletionPort, isMadeTogetherWithItsFirstSocket) {
    const Pair pair = connectedPair();
    const HANDLE port = platform::CreateIoCompletionPort(platform::socketHandle(pair.server.get()),
                                                         platform::noHandle, 7, 0);
    ASSERT_NE(port, nullptr);
    Receive receive(8);
    EXPECT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    sendText(pair.client, "x");
    EXPECT_EQ(dequeue(port).key, 7U);
    platform::CloseHandle(port);
}

TEST(CompletionPort, dequeueNeedsItsOutPlaces) {
    const ScopedPort port;
    EXPECT_EQ(platform::GetQueuedCompletionStatus(port.get(), nullptr, nullptr, nullptr, 0), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_PARAMETER);
}

TEST(PortReceive, completesWithKeyCountAndStructure) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.server, 42));
    Receive receive(16);
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    const std::jthread peer([&] {
        giveOthersTime();
        sendText(pair.client, "abc");
    });
    const Dequeued got = dequeue(port.get());
    EXPECT_NE(got.result, FALSE);
    EXPECT_EQ(got.key, 42U);
    EXPECT_EQ(got.transferred, 3U);
    EXPECT_EQ(got.overlapped, &receive.overlapped);
    EXPECT_EQ(receive.buffer.substr(0, 3), "abc");
    EXPECT_EQ(receive.finish(pair.server, false), 0);
    EXPECT_EQ(receive.count, 3U);
}

TEST(PortReceive, completedAtOnceIsDeliveredToo) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.server, 1));
    sendText(pair.client, "x");
    char byte = 0;
    ASSERT_EQ(platform::recv(pair.server.get(), &byte, 1, msgPeek), 1);
    Receive receive(16);
    EXPECT_EQ(receive.post(pair.server), 0);
    EXPECT_EQ(receive.count, 1U);
    EXPECT_EQ(dequeue(port.get(), 0).overlapped, &receive.overlapped);
    EXPECT_EQ(dequeue(port.get(), 0).overlapped, nullptr);
}

TEST(PortReceive, failureAtOnceIsNotDelivered) {
    const Socket unconnected = tcpSocket();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(unconnected, 1));
    Receive receive(16);
    EXPECT_EQ(receive.post(unconnected), WSAENOTCONN);
    EXPECT_EQ(dequeue(port.get(), 0).overlapped, nullptr);
}

TEST(PortReceive, setsItsEventAsWell) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    const ScopedEvent event;
    ASSERT_TRUE(port.bind(pair.server, 1));
    Receive receive(16, event.get());
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    sendText(pair.client, "x");
    EXPECT_EQ(event.wait(), platform::WSA_WAIT_EVENT_0); // the event's waiter completes it
    EXPECT_EQ(dequeue(port.get(), 0).overlapped, &receive.overlapped);
}

TEST(PortReceive, markedEventKeepsItFromThePort) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    const ScopedEvent event;
    ASSERT_TRUE(port.bind(pair.server, 1));
    Receive receive(16, reinterpret_cast<HANDLE>(reinterpret_cast<ULONG_PTR>(event.get()) | 1));
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    sendText(pair.client, "x");
    EXPECT_EQ(event.wait(), platform::WSA_WAIT_EVENT_0);
    EXPECT_EQ(dequeue(port.get(), 0).overlapped, nullptr);
}

TEST(PortReceive, failureCarriesItsNumber) {
    Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.server, 1));
    Receive receive(16);
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    resetWhenClosed(pair.client);
    pair.client.close();
    const Dequeued got = dequeue(port.get());
    EXPECT_EQ(got.result, FALSE);
    EXPECT_EQ(got.overlapped, &receive.overlapped);
    EXPECT_EQ(got.error, WSAECONNRESET);
}

TEST(PortReceive, closingTheSocketAbortsWhatIsPending) {
    Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.server, 3));
    auto receive = std::make_unique<Receive>(16);
    ASSERT_EQ(receive->post(pair.server), WSA_IO_PENDING);
    const OVERLAPPED* const address = &receive->overlapped;
    const std::jthread other([&] {
        giveOthersTime();
        pair.server.close();
    });
    const Dequeued got = dequeue(port.get());
    EXPECT_EQ(got.result, FALSE);
    EXPECT_EQ(got.error, WSA_OPERATION_ABORTED);
    EXPECT_EQ(got.overlapped, address);
    EXPECT_EQ(got.key, 3U);
    receive.reset();
    EXPECT_EQ(dequeue(port.get(), 20).overlapped, nullptr);
}

TEST(PortReceive, structureMayGoBeforeItsCompletionIsTaken) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    const ScopedEvent event;
    ASSERT_TRUE(port.bind(pair.server, 3));
    auto receive = std::make_unique<Receive>(16, event.get());
    ASSERT_EQ(receive->post(pair.server), WSA_IO_PENDING);
    sendText(pair.client, "x");
    ASSERT_EQ(event.wait(), platform::WSA_WAIT_EVENT_0);
    receive.reset();
    EXPECT_EQ(dequeue(port.get(), 0).transferred, 1U);
}

TEST(PortReceive, completesInTheOrderOfPostingThoughThePeerDrips) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.server, 1));
    std::vector<std::unique_ptr<Receive>> receives;
    for (int i = 0; i < 10; ++i) {
        receives.push_back(std::make_unique<Receive>(1));
        ASSERT_EQ(receives.back()->post(pair.server), WSA_IO_PENDING);
    }
    const std::jthread peer([&] { sendDropByDrop(pair.client, "0123456789"); });
    for (int i = 0; i < 10; ++i) {
        const auto& expected = receives[static_cast<std::size_t>(i)];
        EXPECT_EQ(dequeue(port.get()).overlapped, &expected->overlapped);
        EXPECT_EQ(expected->buffer[0], '0' + i);
    }
}

TEST(PortReceive, socketBoundWithAReceivePendingIsServed) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    Receive receive(16);
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    ASSERT_TRUE(port.bind(pair.server, 1));
    sendText(pair.client, "x");
    EXPECT_EQ(dequeue(port.get()).overlapped, &receive.overlapped);
}

TEST(PortReceive, resultMayBeWaitedForBesideThePort) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.server, 1));
    Receive receive(16);
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    sendText(pair.client, "x");
    EXPECT_EQ(receive.finish(pair.server, true), 0);
    EXPECT_EQ(dequeue(port.get(), 0).overlapped, &receive.overlapped);
}

TEST(PortReceive, newSocketWithAnOldNumberIsNotBound) {
    Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.server, 1));
    ASSERT_TRUE(port.bind(pair.client, 1));
    pair = Pair{};
    const Pair next = connectedPair();
    EXPECT_TRUE(port.bind(next.server, 2));
    EXPECT_TRUE(port.bind(next.client, 2));
}

TEST(PortSend, completionFollows) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.client, 8));
    OVERLAPPED overlapped;
    char text[] = "sent";
    WSABUF view{4, text};
    EXPECT_EQ(platform::WSASend(pair.client.get(), &view, 1, nullptr, 0, &overlapped, nullptr), 0);
    const Dequeued got = dequeue(port.get(), 0);
    EXPECT_EQ(got.overlapped, &overlapped);
    EXPECT_EQ(got.transferred, 4U);
    EXPECT_EQ(got.key, 8U);
}

// Each connection receives a text that its peer drips; the threads take turns on the connections.
TEST(PortThreads, everyCompletionIsDeliveredOnce) {
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
        platform::PostQueuedCompletionStatus(port.get(), 0, stopKey, nullptr);
    }
    workers.clear();
    for (const auto& connection : all) {
        EXPECT_EQ(connection->text, text);
    }
    EXPECT_EQ(ended, connections);
}

TEST(PortThreads, socketsMayBeClosedWhileOthersWait) {
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
        platform::PostQueuedCompletionStatus(port.get(), 0, stopKey, nullptr);
    }
    workers.clear();
    EXPECT_EQ(completions, rounds);
}

TEST(PortThreads, thousandsOfSocketsShareOnePort) {
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
