// Overlapped receives and sends whose completion sets an event or is queried.
#include "contract/sockets/Loopback.h"

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <vector>

namespace VexaSsl::test {

using EventReceive = ContractTest;
using EventSend = ContractTest;

TEST_F(EventReceive, receiveCompletesAtOnceWhenDataWaits) {
    const Pair pair = connectedPair();
    const ScopedEvent event;
    sendText(pair.client, "here");
    char byte = 0;
    ASSERT_EQ(platform::recv(pair.server.get(), &byte, 1, msgPeek), 1); // it has arrived
    Receive receive(16, event.get());
    EXPECT_EQ(receive.post(pair.server), 0);
    EXPECT_EQ(receive.text(), "here");
    EXPECT_EQ(event.wait(0), WSA_WAIT_EVENT_0);
    EXPECT_EQ(receive.finish(pair.server, false), 0);
    EXPECT_EQ(receive.count, 4U);
}

TEST_F(EventReceive, postingResetsTheEvent) {
    const Pair pair = connectedPair();
    const ScopedEvent event;
    host::WSASetEvent(event.get());
    Receive receive(16, event.get());
    EXPECT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    EXPECT_EQ(event.wait(0), WSA_WAIT_TIMEOUT);
    EXPECT_EQ(receive.finish(pair.server, false), WSA_IO_INCOMPLETE);
    sendText(pair.client, "later");
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
    EXPECT_EQ(receive.finish(pair.server, false), 0);
    EXPECT_EQ(receive.text(), "later");
}

TEST_F(EventReceive, dataIsInTheBufferWhenTheWaitEnds) {
    const Pair pair = connectedPair();
    const ScopedEvent event;
    Receive receive(16, event.get());
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    const std::jthread peer([&] {
        yieldToOtherThreads();
        sendText(pair.client, "x");
    });
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
    EXPECT_EQ(receive.finish(pair.server, false), 0);
    EXPECT_EQ(receive.text(), "x");
}

TEST_F(EventReceive, receiveScattersAndKeepsNoReferenceToItsArray) {
    const Pair pair = connectedPair();
    const ScopedEvent event;
    WSAOVERLAPPED overlapped{};
    overlapped.hEvent = event.get();
    char first[2] = {};
    char second[8] = {};
    auto views = std::make_unique<WSABUF[]>(2);
    views[0] = {2, first};
    views[1] = {8, second};
    DWORD flags = 0;
    ASSERT_EQ(
        platform::WSARecv(pair.server.get(), views.get(), 2, nullptr, &flags, &overlapped, nullptr),
        SOCKET_ERROR);
    ASSERT_EQ(lastError(), WSA_IO_PENDING);
    views.reset();
    sendText(pair.client, "abcde");
    DWORD count = 0;
    flags = msgPeek;
    ASSERT_NE(host::WSAGetOverlappedResult(pair.server.get(), &overlapped, &count, TRUE, &flags),
              FALSE);
    EXPECT_EQ(flags, 0U);
    EXPECT_EQ(count, 5U);
    EXPECT_EQ(std::string(first, 2), "ab");
    EXPECT_EQ(std::string(second, 3), "cde");
}

TEST_F(EventReceive, waitAllGathersSingleBytes) {
    const Pair pair = connectedPair();
    const ScopedEvent event;
    Receive receive(8, event.get());
    receive.flags = msgWaitAll;
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    const std::jthread peer([&] { sendByteByByte(pair.client, "all of it"); });
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
    EXPECT_EQ(receive.finish(pair.server, false), 0);
    EXPECT_EQ(receive.text(), "all of i");
    EXPECT_EQ(receiveText(pair.server, 1), "t");
}

TEST_F(EventReceive, peekLeavesTheBytes) {
    const Pair pair = connectedPair();
    Receive receive(8);
    receive.flags = msgPeek;
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    sendText(pair.client, "x");
    EXPECT_EQ(receive.finish(pair.server, true), 0);
    EXPECT_EQ(receive.text(), "x");
    EXPECT_EQ(receiveText(pair.server, 1), "x");
}

TEST_F(EventReceive, emptyReceiveWaitsForReadiness) {
    const Pair pair = connectedPair();
    Receive receive(0);
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    sendText(pair.client, "x");
    EXPECT_EQ(receive.finish(pair.server, true), 0);
    EXPECT_EQ(receive.count, 0U);
    EXPECT_EQ(receiveText(pair.server, 1), "x");
}

TEST_F(EventReceive, endOfStreamCompletesWithZeroBytes) {
    Pair pair = connectedPair();
    const ScopedEvent event;
    Receive receive(8, event.get());
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    pair.client.close();
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
    EXPECT_EQ(receive.finish(pair.server, false), 0);
    EXPECT_EQ(receive.count, 0U);
}

TEST_F(EventReceive, resetCompletesWithItsErrorCode) {
    Pair pair = connectedPair();
    const ScopedEvent event;
    Receive receive(8, event.get());
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    resetWhenClosed(pair.client);
    pair.client.close();
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
    EXPECT_EQ(receive.finish(pair.server, false), WSAECONNRESET);
}

TEST_F(EventReceive, immediateFailureHasNoCompletion) {
    const Socket unconnected = tcpSocket();
    const ScopedEvent event;
    Receive receive(8, event.get());
    EXPECT_EQ(receive.post(unconnected), WSAENOTCONN);
    EXPECT_EQ(event.wait(0), WSA_WAIT_TIMEOUT);
}

TEST_F(EventReceive, receiveRefusesNonSockets) {
    Receive receive(8);
    EXPECT_EQ(receive.post(Socket()), WSAENOTSOCK);
}

TEST_F(EventReceive, receivesCompleteInOrderOfPosting) {
    const Pair pair = connectedPair();
    const ScopedEvent last;
    std::vector<std::unique_ptr<Receive>> receives;
    for (int i = 0; i < 20; ++i) {
        receives.push_back(std::make_unique<Receive>(1, i == 19 ? last.get() : nullptr));
        ASSERT_EQ(receives.back()->post(pair.server), WSA_IO_PENDING);
    }
    const std::jthread peer([&] { sendByteByByte(pair.client, "abcdefghijklmnopqrst"); });
    EXPECT_EQ(last.wait(), WSA_WAIT_EVENT_0);
    std::string text;
    for (const auto& receive : receives) {
        EXPECT_EQ(receive->finish(pair.server, false), 0);
        text += receive->text();
    }
    EXPECT_EQ(text, "abcdefghijklmnopqrst");
}

TEST_F(EventReceive, closingTheSocketAbortsPendingReceives) {
    Pair pair = connectedPair();
    const ScopedEvent event;
    auto receive = std::make_unique<Receive>(8, event.get());
    ASSERT_EQ(receive->post(pair.server), WSA_IO_PENDING);
    pair.server.close();
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
    EXPECT_TRUE(isAborted(receive->finish(pair.server, false)));
    receive.reset(); // a sanitizer reports any later access
    sendText(pair.client, "x");
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
}

TEST_F(EventReceive, closingTheSocketEndsTheWaitOfAnotherThread) {
    Pair pair = connectedPair();
    const ScopedEvent event;
    Receive receive(8, event.get());
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    const std::jthread waiter([&] {
        EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
        EXPECT_TRUE(isAborted(receive.finish(pair.client, false)));
    });
    yieldToOtherThreads();
    pair.server.close();
}

TEST_F(EventReceive, closingTheSocketEndsTheWaitForTheResult) {
    Pair pair = connectedPair();
    Receive receive(8);
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    const SOCKET s = pair.server.get();
    const std::jthread waiter([&, s] {
        DWORD count = 0;
        DWORD flags = 0;
        EXPECT_EQ(host::WSAGetOverlappedResult(s, &receive.overlapped, &count, TRUE, &flags),
                  FALSE);
        EXPECT_TRUE(isAborted(lastError()));
    });
    yieldToOtherThreads();
    pair.server.close();
}

TEST_F(EventReceive, postingWakesWaitingThread) {
    const Pair pair = connectedPair();
    const ScopedEvent event;
    Receive receive(8, event.get());
    sendText(pair.client, "x");
    const std::jthread waiter([&] { EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0); });
    yieldToOtherThreads();
    EXPECT_EQ(receive.post(pair.server), 0);
}

TEST_F(EventReceive, waitingThreadCompletesReceivesPostedMeanwhile) {
    const Pair pair = connectedPair();
    const ScopedEvent event;
    Receive receive(8, event.get());
    const std::jthread waiter([&] {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    });
    yieldToOtherThreads();
    EXPECT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    yieldToOtherThreads();
    sendText(pair.client, "x");
}

TEST_F(EventReceive, waitForTheResultCompletesTheReceive) {
    const Pair pair = connectedPair();
    Receive receive(8);
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    const std::jthread peer([&] {
        yieldToOtherThreads();
        sendText(pair.client, "x");
    });
    EXPECT_EQ(receive.finish(pair.server, true), 0);
    EXPECT_EQ(receive.text(), "x");
}

TEST_F(EventReceive, manyThreadsMayWaitForTheSameEvent) {
    const Pair pair = connectedPair();
    const ScopedEvent event;
    Receive receive(8, event.get());
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    std::atomic<int> woken{0};
    {
        std::vector<std::jthread> waiters;
        for (int i = 0; i < 4; ++i) {
            waiters.emplace_back([&] {
                EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
                ++woken;
            });
        }
        yieldToOtherThreads();
        sendText(pair.client, "x");
    }
    EXPECT_EQ(woken, 4);
    EXPECT_EQ(receive.finish(pair.server, false), 0);
    EXPECT_EQ(receive.text(), "x");
}

TEST_F(EventReceive, resultForAnotherSocketIsInvalid) {
    // Closing the sockets completes the receives, which must outlive them.
    Receive receive(8);
    Receive other(8);
    const Pair pair = connectedPair();
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    ASSERT_EQ(other.post(pair.client), WSA_IO_PENDING);
    EXPECT_EQ(receive.finish(pair.client, true), WSA_INVALID_PARAMETER);
    EXPECT_EQ(receive.finish(tcpSocket(), false), WSA_IO_INCOMPLETE);
    EXPECT_EQ(host::WSAGetOverlappedResult(pair.server.get(), nullptr, nullptr, FALSE, nullptr),
              FALSE);
    EXPECT_EQ(lastError(), WSAEFAULT);
}

TEST_F(EventSend, sendCompletesAtOnceAndSetsItsEvent) {
    const Pair pair = connectedPair();
    const ScopedEvent event;
    WSAOVERLAPPED overlapped{};
    overlapped.hEvent = event.get();
    char text[] = "sent";
    WSABUF view{4, text};
    DWORD sent = 0;
    EXPECT_EQ(platform::WSASend(pair.client.get(), &view, 1, &sent, 0, &overlapped, nullptr), 0);
    EXPECT_EQ(sent, 4U);
    EXPECT_EQ(event.wait(0), WSA_WAIT_EVENT_0);
    EXPECT_EQ(receiveText(pair.server, 4), "sent");
}

TEST_F(EventSend, sendRefusesNonSockets) {
    WSAOVERLAPPED overlapped{};
    char text[] = "x";
    WSABUF view{1, text};
    EXPECT_EQ(platform::WSASend(INVALID_SOCKET, &view, 1, nullptr, 0, &overlapped, nullptr),
              SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAENOTSOCK);
}

TEST_F(EventSend, overlappedSendOnNonBlockingSocketSendsAll) {
    const Pair pair = connectedPair();
    setNonBlocking(pair.client);
    std::string much(16 << 20, 'm');
    const std::jthread peer([&] {
        yieldToOtherThreads();
        EXPECT_EQ(receiveText(pair.server, much.size()), much);
    });
    WSAOVERLAPPED overlapped{};
    WSABUF view{static_cast<ULONG>(much.size()), much.data()};
    DWORD sent = 0;
    EXPECT_EQ(platform::WSASend(pair.client.get(), &view, 1, &sent, 0, &overlapped, nullptr), 0);
    EXPECT_EQ(sent, much.size());
}

} // namespace VexaSsl::test
