// A completion port: finished operations in their order, and the sockets on which some are still
// pending. The threads that take completions move the pending ones on. Any thread.
//
// Each socket is watched for one readiness at a time, so that one of many waiting threads gets it.
// Its lock is taken after that of an operation queue, never before.
#pragma once

#include "VexaPlatform/WinsockShapes.h"
#include "platform/linux/base/Descriptor.h"
#include "platform/linux/sockets/Deadline.h"

#include <deque>
#include <memory>
#include <mutex>
#include <utility>

namespace VexaSsl::linux {

struct Completion {
    OVERLAPPED* overlapped = nullptr; // a number only; never followed here
    ULONG_PTR key = 0;
    DWORD transferred = 0;
    int error = 0;
};

class CompletionPort {
public:
    // Null with the cause in the last-error slot when the process is out of descriptors or memory.
    static std::shared_ptr<CompletionPort> create();

    CompletionPort(Descriptor pollSet, Descriptor wakeDescriptor)
        : sockets(std::move(pollSet)), wakeUp(std::move(wakeDescriptor)) {}

    void push(const Completion& completion);

    // Result: 0, WSA_WAIT_TIMEOUT, or WSA_INVALID_HANDLE once the port is closed.
    int take(Completion& completion, const Deadline& deadline);

    // Ends every wait; later completions are dropped.
    void close();

    // Lets a waiting thread move on the queue of the socket owner as soon as watched is ready for
    // pollEvents; for one time. Result: false when the system is out of memory or watches for it.
    [[nodiscard]] bool watch(int owner, int watched, short pollEvents) noexcept;
    void unwatch(int watched) noexcept;

private:
    // Whether the wait is over; then outcome is take's result.
    bool takeQueued(Completion& completion, int& outcome);
    // Waits for one batch of ready sockets and moves them on. Result: whether there was any.
    bool serveSockets(const Deadline& deadline);

    Descriptor sockets;
    Descriptor wakeUp;
    std::mutex mutex;
    std::deque<Completion> completions;
    unsigned int waiting = 0;
    bool signalled = false; // wakeUp is readable
    bool closed = false;
};

} // namespace VexaSsl::linux
