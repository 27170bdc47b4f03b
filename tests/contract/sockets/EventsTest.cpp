// Events and the waits for them.
#include "contract/sockets/Loopback.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace VexaSsl::test {

namespace {

int lastError() {
    return platform::WSAGetLastError();
}

} // namespace

TEST(Events, stayAsTheyAreSet) {
    const ScopedEvent event;
    EXPECT_EQ(event.wait(0), platform::WSA_WAIT_TIMEOUT);
    EXPECT_NE(platform::WSASetEvent(event.get()), FALSE);
    EXPECT_EQ(event.wait(0), platform::WSA_WAIT_EVENT_0);
    EXPECT_EQ(event.wait(0), platform::WSA_WAIT_EVENT_0);
    EXPECT_NE(platform::WSAResetEvent(event.get()), FALSE);
    EXPECT_EQ(event.wait(0), platform::WSA_WAIT_TIMEOUT);
}

TEST(Events, waitForOneTellsTheFirstThatIsSet) {
    const ScopedEvent one;
    const ScopedEvent two;
    const ScopedEvent three;
    platform::WSASetEvent(two.get());
    platform::WSASetEvent(three.get());
    const HANDLE events[] = {one.get(), two.get(), three.get()};
    EXPECT_EQ(platform::WSAWaitForMultipleEvents(3, events, FALSE, 0, FALSE),
              platform::WSA_WAIT_EVENT_0 + 1);
}

TEST(Events, waitForAllNeedsEveryOne) {
    const ScopedEvent one;
    const ScopedEvent two;
    const HANDLE events[] = {one.get(), two.get()};
    platform::WSASetEvent(one.get());
    EXPECT_EQ(platform::WSAWaitForMultipleEvents(2, events, TRUE, 10, FALSE),
              platform::WSA_WAIT_TIMEOUT);
    const std::jthread other([&] {
        giveOthersTime();
        platform::WSASetEvent(two.get());
    });
    EXPECT_EQ(platform::WSAWaitForMultipleEvents(2, events, TRUE, 10000, FALSE),
              platform::WSA_WAIT_EVENT_0);
}

TEST(Events, waitHasAtMostSixtyFour) {
    const ScopedEvent event;
    const std::vector<HANDLE> events(65, event.get());
    platform::WSASetEvent(event.get());
    EXPECT_EQ(platform::WSAWaitForMultipleEvents(64, events.data(), TRUE, 0, FALSE),
              platform::WSA_WAIT_EVENT_0);
    EXPECT_EQ(platform::WSAWaitForMultipleEvents(65, events.data(), FALSE, 0, FALSE),
              platform::WSA_WAIT_FAILED);
    EXPECT_EQ(lastError(), WSA_INVALID_PARAMETER);
    EXPECT_EQ(platform::WSAWaitForMultipleEvents(0, events.data(), FALSE, 0, FALSE),
              platform::WSA_WAIT_FAILED);
    EXPECT_EQ(lastError(), WSA_INVALID_PARAMETER);
}

TEST(Events, staleHandlesAreInvalid) {
    const HANDLE stale = platform::WSACreateEvent();
    EXPECT_NE(platform::WSACloseEvent(stale), FALSE);
    EXPECT_EQ(platform::WSACloseEvent(stale), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
    platform::WSASetLastError(0);
    EXPECT_EQ(platform::WSASetEvent(stale), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
    platform::WSASetLastError(0);
    EXPECT_EQ(platform::WSAResetEvent(stale), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
    platform::WSASetLastError(0);
    EXPECT_EQ(platform::WSAWaitForMultipleEvents(1, &stale, FALSE, 0, FALSE),
              platform::WSA_WAIT_FAILED);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
    const Pair pair = connectedPair();
    Receive receive(8, stale);
    EXPECT_EQ(receive.post(pair.server), WSA_INVALID_HANDLE);
}

TEST(Events, portIsNoEvent) {
    const ScopedPort port;
    EXPECT_EQ(platform::WSASetEvent(port.get()), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
}

TEST(Events, closingOneFailsTheWaitForIt) {
    const HANDLE event = platform::WSACreateEvent();
    const std::jthread other([&] {
        giveOthersTime();
        platform::WSACloseEvent(event);
    });
    EXPECT_EQ(platform::WSAWaitForMultipleEvents(1, &event, FALSE, 10000, FALSE),
              platform::WSA_WAIT_FAILED);
    EXPECT_EQ(lastError(), WSA_INVALID_HANDLE);
}

TEST(Events, signalsNeitherEndNorExtendAWait) {
    const ScopedEvent event;
    const SignalStorm storm;
    EXPECT_EQ(event.wait(50), platform::WSA_WAIT_TIMEOUT);
    EXPECT_GT(SignalStorm::delivered(), 0);
}

} // namespace VexaSsl::test
