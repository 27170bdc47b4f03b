// Events and waiting for them.
#include "contract/sockets/Loopback.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

namespace VexaSsl::test {

using Events = ContractTest;

TEST_F(Events, eventStaysSetUntilReset) {
    const ScopedEvent event;
    EXPECT_EQ(event.wait(0), WSA_WAIT_TIMEOUT);
    EXPECT_NE(host::WSASetEvent(event.get()), FALSE);
    EXPECT_EQ(event.wait(0), WSA_WAIT_EVENT_0);
    EXPECT_EQ(event.wait(0), WSA_WAIT_EVENT_0);
    EXPECT_NE(host::WSAResetEvent(event.get()), FALSE);
    EXPECT_EQ(event.wait(0), WSA_WAIT_TIMEOUT);
}

TEST_F(Events, waitForAnyReturnsTheFirstSetEvent) {
    const ScopedEvent one;
    const ScopedEvent two;
    const ScopedEvent three;
    host::WSASetEvent(two.get());
    host::WSASetEvent(three.get());
    const HANDLE events[] = {one.get(), two.get(), three.get()};
    EXPECT_EQ(host::WSAWaitForMultipleEvents(3, events, FALSE, 0, FALSE), WSA_WAIT_EVENT_0 + 1);
}

TEST_F(Events, waitForAllNeedsEveryEvent) {
    const ScopedEvent one;
    const ScopedEvent two;
    const HANDLE events[] = {one.get(), two.get()};
    host::WSASetEvent(one.get());
    EXPECT_EQ(host::WSAWaitForMultipleEvents(2, events, TRUE, 10, FALSE), WSA_WAIT_TIMEOUT);
    const std::jthread other([&] {
        yieldToOtherThreads();
        host::WSASetEvent(two.get());
    });
    EXPECT_EQ(host::WSAWaitForMultipleEvents(2, events, TRUE, 10000, FALSE), WSA_WAIT_EVENT_0);
}

TEST_F(Events, eventSetByAnotherThreadEndsTheWaitBeforeItsTimeout) {
    const ScopedEvent event;
    const auto start = std::chrono::steady_clock::now();
    const std::jthread other([&] {
        yieldToOtherThreads();
        host::WSASetEvent(event.get());
    });
    EXPECT_EQ(event.wait(20000), WSA_WAIT_EVENT_0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST_F(Events, waitTakesAtMostSixtyFourEvents) {
    const ScopedEvent event;
    const std::vector<HANDLE> events(65, event.get());
    host::WSASetEvent(event.get());
    EXPECT_EQ(host::WSAWaitForMultipleEvents(64, events.data(), TRUE, 0, FALSE), WSA_WAIT_EVENT_0);
    EXPECT_EQ(host::WSAWaitForMultipleEvents(65, events.data(), FALSE, 0, FALSE), WSA_WAIT_FAILED);
    EXPECT_EQ(lastError(), WSA_INVALID_PARAMETER);
    EXPECT_EQ(host::WSAWaitForMultipleEvents(0, events.data(), FALSE, 0, FALSE), WSA_WAIT_FAILED);
    EXPECT_EQ(lastError(), WSA_INVALID_PARAMETER);
}

TEST_F(Events, closedEventIsInvalidHandle) {
    const HANDLE stale = host::WSACreateEvent();
    EXPECT_NE(host::WSACloseEvent(stale), FALSE);
    EXPECT_EQ(host::WSACloseEvent(stale), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
    platform::WSASetLastError(0);
    EXPECT_EQ(host::WSASetEvent(stale), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
    platform::WSASetLastError(0);
    EXPECT_EQ(host::WSAResetEvent(stale), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
    platform::WSASetLastError(0);
    EXPECT_EQ(host::WSAWaitForMultipleEvents(1, &stale, FALSE, 0, FALSE), WSA_WAIT_FAILED);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
    const Pair pair = connectedPair();
    Receive receive(8, stale);
    EXPECT_EQ(receive.post(pair.server), WSA_INVALID_HANDLE);
}

TEST_F(Events, portIsNotAcceptedAsEvent) {
    const ScopedPort port;
    EXPECT_EQ(host::WSASetEvent(port.get()), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
}

TEST_F(Events, closingAnEventFailsTheWaitForIt) {
    const HANDLE event = host::WSACreateEvent();
    const std::jthread other([&] {
        yieldToOtherThreads();
        host::WSACloseEvent(event);
    });
    EXPECT_EQ(host::WSAWaitForMultipleEvents(1, &event, FALSE, 10000, FALSE), WSA_WAIT_FAILED);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
}

} // namespace VexaSsl::test
