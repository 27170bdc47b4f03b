// The pending operations that a waiting thread must advance, and the threads to wake when these
// change. Neither type has a lock; its owner guards it.
#pragma once

#include <map>
#include <memory>
#include <vector>

namespace VexaSsl::linux {

class Delivery;
class OperationQueue;
class WaitingThread;

using OperationQueues = std::vector<std::shared_ptr<OperationQueue>>;

// Pending operations by their Delivery, with the operation queue of each.
class WatchedOperations {
public:
    void add(const Delivery* delivery, std::shared_ptr<OperationQueue> queue);
    void remove(const Delivery* delivery);
    // Appends the queue of each operation; a queue may occur more than once.
    void appendQueues(OperationQueues& queues) const;

private:
    std::map<const Delivery*, std::shared_ptr<OperationQueue>> operations;
};

// Threads inside a wait. A thread occurs more than once when a completion routine waits.
class Waiters {
public:
    void add(WaitingThread& thread);
    void remove(WaitingThread& thread);
    void wakeAll() const noexcept;

private:
    std::vector<WaitingThread*> threads;
};

} // namespace VexaSsl::linux
