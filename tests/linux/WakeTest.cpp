// Waking a thread that waits, when the system fails to.
#include "contract/sockets/Loopback.h"
#include "platform/linux/base/Descriptor.h"
#include "platform/linux/sockets/SocketDescriptor.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<int> writesToFail = 0;

} // namespace

// Replaces the C library's function.
extern "C" int eventfd_write(int descriptor, eventfd_t value) {
    if (writesToFail > 0) {
        --writesToFail;
        errno = ENOMEM;
        return -1;
    }
    return write(descriptor, &value, sizeof value) == sizeof value ? 0 : -1;
}

namespace VexaSsl::test {
namespace {

bool isReadable(int descriptor) {
    pollfd entry{descriptor, POLLIN, 0};
    return poll(&entry, 1, 0) == 1;
}

// A wake that is lost would leave the thread waiting.
TEST(Wake, failedWriteIsRepeated) {
    const linux::Descriptor event(eventfd(0, EFD_NONBLOCK));
    writesToFail = 3;
    linux::makeReadable(event.get());
    EXPECT_EQ(writesToFail, 0);
    eventfd_t count = 0;
    ASSERT_EQ(eventfd_read(event.get(), &count), 0);
    EXPECT_EQ(count, 1U);
}

TEST(Wake, fullCounterIsReadableAlready) {
    const linux::Descriptor event(eventfd(0, EFD_NONBLOCK));
    ASSERT_EQ(eventfd_write(event.get(), ~eventfd_t{0} - 1), 0);
    linux::makeReadable(event.get());
    EXPECT_TRUE(isReadable(event.get()));
}

// The thread goes on when the descriptor can't be written at all.
TEST(Wake, wakeIsGivenUpAfterThousandAttempts) {
    const linux::Descriptor event(eventfd(0, EFD_NONBLOCK));
    writesToFail = 1500;
    linux::makeReadable(event.get());
    EXPECT_EQ(writesToFail, 500);
    writesToFail = 0;
}

TEST(Wake, completionWithoutWaitingThreadWakesNone) {
    const ScopedPort port;
    EXPECT_EQ(dequeue(port.get(), 0).result, FALSE); // a wait that has ended
    writesToFail = 1;
    host::PostQueuedCompletionStatus(port.get(), 0, 5, nullptr);
    EXPECT_EQ(writesToFail, 1);
    writesToFail = 0;
    EXPECT_EQ(dequeue(port.get(), 0).key, 5U);
}

} // namespace
} // namespace VexaSsl::test
