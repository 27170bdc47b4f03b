// The operations of one socket, when its descriptor is closed or used again.
#include "platform/linux/sockets/OperationQueue.h"

#include "contract/sockets/Loopback.h"
#include "platform/linux/sockets/CompletionPort.h"
#include "platform/linux/sockets/SocketRegistry.h"
#include "unit/Allocations.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <list>
#include <memory>
#include <string>

namespace VexaSsl::test {
namespace {

using OperationQueue = ContractTest;

// Another thread may have found the queue before the socket was closed.
TEST_F(OperationQueue, closedQueueTakesNoOperation) {
    Pair pair = connectedPair();
    const auto queue =
        linux::SocketRegistry::instance().findOrCreate(static_cast<int>(pair.server.get()));
    pair.server.close();
    const auto result =
        queue->post(std::make_unique<linux::ReceiveOperation>(std::vector<iovec>{}, 0));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->error, WSAENOTSOCK);
    EXPECT_FALSE(queue->bind({linux::CompletionPort::create(), 1}));
}

// The event may be one of an earlier socket with the same descriptor.
TEST_F(OperationQueue, eventOfAnotherPortIsIgnored) {
    Receive receive(8);
    const Pair pair = connectedPair();
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    sendText(pair.client, "x");
    const int descriptor = static_cast<int>(pair.server.get());
    linux::SocketRegistry::instance()
        .find(descriptor)
        ->advanceReady(*linux::CompletionPort::create(), descriptor);
    EXPECT_TRUE(linux::statusOf(receive.overlapped).isPending);
}

// The thread that takes completions advances operations of others, which can't be refused any more.
TEST_F(OperationQueue, completionsNeedNoMemory) {
    constexpr std::size_t receives = 100;
    const ScopedPort port;
    const Pair pair = connectedPair();
    ASSERT_TRUE(port.bind(pair.server, 1));
    std::list<Receive> posted;
    while (posted.size() < receives) {
        ASSERT_EQ(posted.emplace_back(1).post(pair.server), WSA_IO_PENDING);
    }
    sendText(pair.client, std::string(receives, 'x'));
    const long before = allocations();
    for (Receive& receive : posted) {
        EXPECT_EQ(dequeue(port.get()).overlapped, &receive.overlapped);
    }
    EXPECT_EQ(allocations(), before);
}

} // namespace
} // namespace VexaSsl::test
