// Completion ports: posting, dequeuing, binding, closing.
#include "contract/sockets/Loopback.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace VexaSsl::test {

using CompletionPort = ContractTest;

TEST_F(CompletionPort, postedCompletionsKeepTheirOrder) {
    const ScopedPort port;
    OVERLAPPED overlapped{};
    EXPECT_NE(host::PostQueuedCompletionStatus(port.get(), 1, 10, &overlapped), FALSE);
    EXPECT_NE(host::PostQueuedCompletionStatus(port.get(), 2, 20, nullptr), FALSE);
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

TEST_F(CompletionPort, waitOnEmptyPortTimesOut) {
    const ScopedPort port;
    for (const DWORD milliseconds : {0U, 20U}) {
        const Dequeued got = dequeue(port.get(), milliseconds);
        EXPECT_EQ(got.result, FALSE);
        EXPECT_EQ(got.overlapped, nullptr);
        EXPECT_EQ(got.error, static_cast<int>(WSA_WAIT_TIMEOUT));
    }
}

TEST_F(CompletionPort, postingWakesWaitingThread) {
    const ScopedPort port;
    const std::jthread waiter([&] { EXPECT_EQ(dequeue(port.get()).key, 5U); });
    yieldToOtherThreads();
    host::PostQueuedCompletionStatus(port.get(), 0, 5, nullptr);
}

TEST_F(CompletionPort, closingThePortEndsEveryWait) {
    const HANDLE port = host::CreateIoCompletionPort(host::invalidHandle(), host::noHandle, 0, 0);
    std::vector<std::jthread> waiters;
    for (int i = 0; i < 4; ++i) {
        waiters.emplace_back([&] {
            const Dequeued got = dequeue(port);
            EXPECT_EQ(got.result, FALSE);
            EXPECT_EQ(got.overlapped, nullptr);
            EXPECT_EQ(got.error, WSA_INVALID_HANDLE);
        });
    }
    yieldToOtherThreads();
    EXPECT_NE(host::CloseHandle(port), FALSE);
}

TEST_F(CompletionPort, closedPortIsInvalidHandle) {
    const HANDLE stale = host::CreateIoCompletionPort(host::invalidHandle(), host::noHandle, 0, 0);
    EXPECT_NE(host::CloseHandle(stale), FALSE);
    EXPECT_EQ(host::CloseHandle(stale), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
    EXPECT_EQ(dequeue(stale).error, WSA_INVALID_HANDLE);
    platform::WSASetLastError(0);
    EXPECT_EQ(host::PostQueuedCompletionStatus(stale, 0, 0, nullptr), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
    const Socket socket = tcpSocket();
    platform::WSASetLastError(0);
    EXPECT_EQ(host::CreateIoCompletionPort(host::socketHandle(socket.get()), stale, 0, 0), nullptr);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
}

TEST_F(CompletionPort, eventIsNotAcceptedAsPort) {
    const ScopedEvent event;
    EXPECT_EQ(dequeue(event.get()).error, WSA_INVALID_HANDLE);
    EXPECT_EQ(host::CloseHandle(event.get()), FALSE);
}

TEST_F(CompletionPort, bindingRefusesInvalidArguments) {
    const ScopedPort port;
    EXPECT_EQ(
        host::CreateIoCompletionPort(host::socketHandle(INVALID_SOCKET - 1), port.get(), 0, 0),
        nullptr);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
    EXPECT_EQ(host::CreateIoCompletionPort(host::invalidHandle(), port.get(), 0, 0), nullptr);
    EXPECT_EQ(lastError(), WSA_INVALID_PARAMETER);
    const Socket socket = tcpSocket();
    EXPECT_TRUE(port.bind(socket, 1));
    EXPECT_FALSE(port.bind(socket, 2));
    EXPECT_EQ(lastError(), WSA_INVALID_PARAMETER);
}

TEST_F(CompletionPort, portIsCreatedWithItsFirstSocket) {
    const Pair pair = connectedPair();
    const HANDLE port =
        host::CreateIoCompletionPort(host::socketHandle(pair.server.get()), host::noHandle, 7, 0);
    ASSERT_NE(port, nullptr);
    Receive receive(8);
    EXPECT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    sendText(pair.client, "x");
    EXPECT_EQ(dequeue(port).key, 7U);
    host::CloseHandle(port);
}

TEST_F(CompletionPort, dequeueRefusesNullOutputs) {
    const ScopedPort port;
    EXPECT_EQ(host::GetQueuedCompletionStatus(port.get(), nullptr, nullptr, nullptr, 0), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_PARAMETER);
}

} // namespace VexaSsl::test
