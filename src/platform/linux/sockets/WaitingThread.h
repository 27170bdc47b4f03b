// A thread that waits for events or posts operations with completion routines: a descriptor that
// wakes it from poll, and the routines that are due.
//
// Only the thread itself waits and runs routines; any thread may wake it or add a routine. Its lock
// is taken after that of an operation queue, never before.
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
    // Returns the calling thread's object, which lives as long as the thread or an operation refers
    // to it. Returns null and sets the last error when the process is out of descriptors.
    static std::shared_ptr<WaitingThread> current();

    explicit WaitingThread(Descriptor wakeDescriptor) : wakeDescriptor(std::move(wakeDescriptor)) {}

    void wake() noexcept;
    // Clears earlier wakes. A wait calls it before it checks its conditions, so it misses no wake.
    void clearWakes() noexcept;
    int descriptor() const noexcept { return wakeDescriptor.get(); }

    void addRoutine(const RoutineCall& call);
    // Runs the routines that are due now on the calling thread, not those that become due
    // meanwhile. Returns whether there were any.
    bool runRoutines();

    void watch(const Delivery* delivery, std::shared_ptr<OperationQueue> queue);
    void unwatch(const Delivery* delivery);
    void appendQueues(OperationQueues& queues) const;

private:
    Descriptor wakeDescriptor;
    mutable std::mutex mutex;
    std::deque<RoutineCall> routines;
    WatchedOperations operations;
};

} // namespace VexaSsl::linux
