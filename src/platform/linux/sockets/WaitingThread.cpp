#include "platform/linux/sockets/WaitingThread.h"

#include "platform/linux/sockets/OperationQueue.h"
#include "platform/linux/sockets/SocketDescriptor.h"
#include "platform/linux/sockets/SystemErrors.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>

namespace VexaSsl::linux {

namespace {

// Aborts the thread's operations with routines when the thread ends: no other thread may run them.
struct ThreadSlot {
    std::shared_ptr<WaitingThread> thread;

    ~ThreadSlot() {
        if (!thread) {
            return;
        }
        OperationQueues queues;
        thread->appendQueues(queues);
        for (const auto& queue : queues) {
            queue->abortRoutinesOf(*thread);
        }
    }
};

} // namespace

std::shared_ptr<WaitingThread> WaitingThread::current() {
    thread_local ThreadSlot slot;
    if (!slot.thread) {
        Descriptor wakeDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
        if (!wakeDescriptor) {
            failWithErrno();
            return nullptr;
        }
        slot.thread = std::make_shared<WaitingThread>(std::move(wakeDescriptor));
    }
    return slot.thread;
}

void WaitingThread::wake() noexcept {
    makeReadable(wakeDescriptor.get());
}

void WaitingThread::clearWakes() noexcept {
    eventfd_t count = 0;
    eventfd_read(wakeDescriptor.get(), &count);
}

void WaitingThread::addRoutine(const RoutineCall& call) {
    const std::lock_guard lock(mutex);
    routines.push_back(call);
    wake();
}

bool WaitingThread::runRoutines() {
    std::unique_lock lock(mutex);
    const std::size_t due = routines.size();
    // One by one: an alertable wait in a routine runs the remaining ones.
    for (std::size_t left = due; left > 0 && !routines.empty(); --left) {
        const RoutineCall call = routines.front();
        routines.pop_front();
        lock.unlock();
        call.routine(call.error, call.transferred, call.overlapped, 0);
        lock.lock();
    }
    return due > 0;
}

void WaitingThread::watch(const Delivery* delivery, std::shared_ptr<OperationQueue> queue) {
    const std::lock_guard lock(mutex);
    operations.add(delivery, std::move(queue));
}

void WaitingThread::unwatch(const Delivery* delivery) {
    const std::lock_guard lock(mutex);
    operations.remove(delivery);
}

void WaitingThread::appendQueues(OperationQueues& queues) const {
    const std::lock_guard lock(mutex);
    operations.appendQueues(queues);
}

} // namespace VexaSsl::linux
