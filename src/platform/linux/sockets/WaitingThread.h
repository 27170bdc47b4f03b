// What a thread needs to wait: a descriptor that wakes it out of poll, and the completion routines
// that are due on it. One for each thread that ever waits or posts an operation with a routine.
//
// The thread itself waits and runs routines; any thread may wake it or hand it a routine.
// Its lock is taken after that of an operation queue, never before.
#pragma once

#include "VexaPlatform/WinsockShapes.h"
#include "platform/linux/base/Descriptor.h"
#include "platform/linux/sockets/Watchers.h"

#include <deque>
#include <memory>
#include <mutex>
#include <utility>

namespace VexaSsl::linux {

// A completion routine with its arguments.
struct RoutineCall {
    LPWSAOVERLAPPED_COMPLETION_ROUTINE routine;
    DWORD error;
    DWORD transferred;
    OVERLAPPED* overlapped;
};

class WaitingThread {
public:
    // The calling thread's own. It outlives the thread as long as an operation refers to it.
    // Null with WSAEMFILE in the last-error slot when the process is out of descriptors.
    static std::shared_ptr<WaitingThread> current();

    explicit WaitingThread(Descriptor wakeDescriptor) : wakeUp(std::move(wakeDescriptor)) {}

    void wake() noexcept;
    // Forgets earlier wakes. Whoever waits does this first and looks at everything afterwards.
    void clearWakes() noexcept;
    int descriptor() const noexcept { return wakeUp.get(); }

    void addRoutine(const RoutineCall& call);
    // Runs what is due now, on the calling thread; what a routine adds itself waits for the next
    // time. Result: whether there was any.
    bool runRoutines();

    void watch(const Delivery* delivery, std::shared_ptr<OperationQueue> queue);
    void unwatch(const Delivery* delivery);
    void appendQueues(OperationQueues& queues) const;

private:
    Descriptor wakeUp;
    mutable std::mutex mutex;
    std::deque<RoutineCall> routines;
    WatchedOperations operations;
};

} // namespace VexaSsl::linux
