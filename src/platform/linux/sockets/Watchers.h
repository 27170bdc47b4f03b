// Who waits for what: the pending operations that a waiter has to move on itself, and the threads
// that are to be woken when that changes. Neither type has a lock of its own: its owner guards it.
#pragma once

#include <map>
#include <memory>
#include <vector>

namespace VexaSsl::linux {

class Delivery;
class OperationQueue;
class WaitingThread;

using OperationQueues = std::vector<std::shared_ptr<OperationQueue>>;

// Pending operations by their Delivery, and the queue of the socket where each of them stands.
class WatchedOperations {
public:
    void add(const Delivery* delivery, std::shared_ptr<OperationQueue> queue);
    void remove(const Delivery* delivery);
    // Appends every queue once for each operation.
    void appendQueues(OperationQueues& queues) const;

private:
    std::map<const Delivery*, std::shared_ptr<OperationQueue>> operations;
};

// Threads inside a wait. A thread may be in it more than once, when a completion routine waits.
class Waiters {
public:
    void add(WaitingThread& thread);
    void remove(WaitingThread& thread);
    void wakeAll() const noexcept;

private:
    std::vector<WaitingThread*> threads;
};

} // namespace VexaSsl::linux
