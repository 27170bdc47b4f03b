// What a wait leaves on its thread.
#include "contract/sockets/Loopback.h"
#include "platform/linux/sockets/WaitingThread.h"

#include <gtest/gtest.h>
#include <poll.h>

namespace VexaSsl::test {
namespace {

using Wait = ContractTest;

// A thread may end after its wait, and then there is nothing to wake.
TEST_F(Wait, waitThatHasEndedIsNotWoken) {
    const Pair pair = connectedPair();
    Receive first(1);
    ASSERT_EQ(first.post(pair.server), WSA_IO_PENDING);
    sendText(pair.client, "x");
    ASSERT_EQ(first.finish(pair.server, true), 0);
    const auto thread = linux::WaitingThread::current();
    thread->clearWakes();
    Receive second(1);
    ASSERT_EQ(second.post(pair.server), WSA_IO_PENDING); // wakes the threads that wait
    pollfd wakes{thread->descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&wakes, 1, 0), 0);
    sendText(pair.client, "x");
    EXPECT_EQ(second.finish(pair.server, true), 0);
}

} // namespace
} // namespace VexaSsl::test
