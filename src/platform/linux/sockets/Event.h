// A manual-reset event: it stays set until it is reset. Any thread.
//
// It knows the pending operations that will set it, because nobody but a waiter moves them on.
// Its lock is taken after that of an operation queue, never before.
#pragma once

#include "platform/linux/sockets/Watchers.h"

#include <memory>
#include <mutex>

namespace VexaSsl::linux {

class Event {
public:
    void set();
    void reset();
    bool isSet() const;

    // After closing, waits for it fail.
    void close();
    bool isClosed() const;

    // A new pending operation wakes the waiters, so that they wait for its socket, too.
    void watch(const Delivery* delivery, std::shared_ptr<OperationQueue> queue);
    void unwatch(const Delivery* delivery);
    void appendQueues(OperationQueues& queues) const;

    void addWaiter(WaitingThread& thread);
    void removeWaiter(WaitingThread& thread);

private:
    mutable std::mutex mutex;
    bool signalled = false;
    bool closed = false;
    WatchedOperations operations;
    Waiters waiters;
};

} // namespace VexaSsl::linux
