#include "platform/linux/sockets/Watchers.h"

#include "platform/linux/sockets/WaitingThread.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace VexaSsl::linux {

void WatchedOperations::add(const Delivery* delivery, std::shared_ptr<OperationQueue> queue) {
    operations.emplace(delivery, std::move(queue));
}

void WatchedOperations::remove(const Delivery* delivery) {
    operations.erase(delivery);
}

void WatchedOperations::appendQueues(OperationQueues& queues) const {
    for (const auto& [delivery, queue] : operations) {
        queues.push_back(queue);
    }
}

void Waiters::add(WaitingThread& thread) {
    threads.push_back(&thread);
}

void Waiters::remove(WaitingThread& thread) {
    const auto found = std::find(threads.begin(), threads.end(), &thread);
    if (found != threads.end()) {
        threads.erase(found);
    }
}

void Waiters::wakeAll() const noexcept {
    for (WaitingThread* thread : threads) {
        thread->wake();
    }
}

} // namespace VexaSsl::linux
