// A manual-reset event. Any thread.
//
// It knows the pending operations that will set it, because the threads that wait for it advance
// them. Its lock is taken after that of an operation queue, never before.
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

    // Ends every wait for it with a failure.
    void close();
    bool isClosed() const;

    // Wakes the waiting threads, so that they wait for the socket of the new operation too.
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
