// Overlapped receives and sends on sockets bound to a completion port.
#include "contract/sockets/Loopback.h"

#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <vector>

namespace VexaSsl::test {

using PortReceive = ContractTest;
using PortSend = ContractTest;

TEST_F(PortReceive, completionCarriesKeyCountAndStructure) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.server, 42));
    Receive receive(16);
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    const std::jthread peer([&] {
        yieldToOtherThreads();
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

TEST_F(PortReceive, immediateCompletionIsDelivered) {
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

TEST_F(PortReceive, immediateFailureIsNotDelivered) {
    const Socket unconnected = tcpSocket();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(unconnected, 1));
    Receive receive(16);
    EXPECT_EQ(receive.post(unconnected), WSAENOTCONN);
    EXPECT_EQ(dequeue(port.get(), 0).overlapped, nullptr);
}

TEST_F(PortReceive, completionAlsoSetsTheEvent) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    const ScopedEvent event;
    ASSERT_TRUE(port.bind(pair.server, 1));
    Receive receive(16, event.get());
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    sendText(pair.client, "x");
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0); // this wait completes the receive
    EXPECT_EQ(dequeue(port.get(), 0).overlapped, &receive.overlapped);
}

TEST_F(PortReceive, eventWithLowBitSetKeepsCompletionFromThePort) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    const ScopedEvent event;
    ASSERT_TRUE(port.bind(pair.server, 1));
    Receive receive(16, reinterpret_cast<HANDLE>(reinterpret_cast<ULONG_PTR>(event.get()) | 1));
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    sendText(pair.client, "x");
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
    EXPECT_EQ(dequeue(port.get(), 0).overlapped, nullptr);
}

TEST_F(PortReceive, failedCompletionCarriesItsErrorCode) {
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

TEST_F(PortReceive, closingTheSocketAbortsPendingReceives) {
    Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.server, 3));
    auto receive = std::make_unique<Receive>(16);
    ASSERT_EQ(receive->post(pair.server), WSA_IO_PENDING);
    const OVERLAPPED* const address = &receive->overlapped;
    const std::jthread other([&] {
        yieldToOtherThreads();
        pair.server.close();
    });
    const Dequeued got = dequeue(port.get());
    EXPECT_EQ(got.result, FALSE);
    EXPECT_TRUE(isAborted(got.error));
    EXPECT_EQ(got.overlapped, address);
    EXPECT_EQ(got.key, 3U);
    receive.reset();
    EXPECT_EQ(dequeue(port.get(), 20).overlapped, nullptr);
}

TEST_F(PortReceive, structureMayBeFreedBeforeItsCompletionIsTaken) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    const ScopedEvent event;
    ASSERT_TRUE(port.bind(pair.server, 3));
    auto receive = std::make_unique<Receive>(16, event.get());
    ASSERT_EQ(receive->post(pair.server), WSA_IO_PENDING);
    sendText(pair.client, "x");
    ASSERT_EQ(event.wait(), WSA_WAIT_EVENT_0);
    receive.reset();
    EXPECT_EQ(dequeue(port.get(), 0).transferred, 1U);
}

TEST_F(PortReceive, receivesOfSingleBytesCompleteInOrderOfPosting) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.server, 1));
    std::vector<std::unique_ptr<Receive>> receives;
    for (int i = 0; i < 10; ++i) {
        receives.push_back(std::make_unique<Receive>(1));
        ASSERT_EQ(receives.back()->post(pair.server), WSA_IO_PENDING);
    }
    const std::jthread peer([&] { sendByteByByte(pair.client, "0123456789"); });
    for (int i = 0; i < 10; ++i) {
        const auto& expected = receives[static_cast<std::size_t>(i)];
        EXPECT_EQ(dequeue(port.get()).overlapped, &expected->overlapped);
        EXPECT_EQ(expected->buffer[0], '0' + i);
    }
}

TEST_F(PortReceive, socketBoundAfterPostingIsServed) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    Receive receive(16);
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    ASSERT_TRUE(port.bind(pair.server, 1));
    sendText(pair.client, "x");
    EXPECT_EQ(dequeue(port.get()).overlapped, &receive.overlapped);
}

TEST_F(PortReceive, resultMayBeWaitedForInAdditionToThePort) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.server, 1));
    Receive receive(16);
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    sendText(pair.client, "x");
    EXPECT_EQ(receive.finish(pair.server, true), 0);
    EXPECT_EQ(dequeue(port.get(), 0).overlapped, &receive.overlapped);
}

TEST_F(PortReceive, socketWithReusedNumberIsNotBound) {
    Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.server, 1));
    ASSERT_TRUE(port.bind(pair.client, 1));
    pair = Pair{};
    const Pair next = connectedPair();
    EXPECT_TRUE(port.bind(next.server, 2));
    EXPECT_TRUE(port.bind(next.client, 2));
}

TEST_F(PortSend, sendCompletionIsDelivered) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.client, 8));
    OVERLAPPED overlapped{};
    char text[] = "sent";
    WSABUF view{4, text};
    EXPECT_EQ(platform::WSASend(pair.client.get(), &view, 1, nullptr, 0, &overlapped, nullptr), 0);
    const Dequeued got = dequeue(port.get(), 0);
    EXPECT_EQ(got.overlapped, &overlapped);
    EXPECT_EQ(got.transferred, 4U);
    EXPECT_EQ(got.key, 8U);
}

} // namespace VexaSsl::test
