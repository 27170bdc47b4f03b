// A completion port: a queue of completions, and an epoll set of the sockets with pending
// operations. The threads that take completions also advance the pending operations. Any thread.
//
// Descriptors are watched with EPOLLONESHOT, so that one event wakes one of the waiting threads.
// The port's lock is taken after that of an operation queue, never before.
#pragma once

#include "VexaPlatform/WinsockShapes.h"
#include "platform/linux/base/Descriptor.h"
#include "platform/linux/sockets/Deadline.h"

#include <list>
#include <memory>
#include <mutex>
#include <utility>

namespace VexaSsl::linux {

struct Completion {
    OVERLAPPED* overlapped = nullptr; // never dereferenced by the port
    ULONG_PTR key = 0;
    DWORD transferred = 0;
    int error = 0;
};

class CompletionPort {
public:
    using Completions = std::list<Completion>;

    // Returns null and sets the last error when the process is out of descriptors or memory.
    static std::shared_ptr<CompletionPort> create();

    CompletionPort(Descriptor epollDescriptor, Descriptor wakeDescriptor)
        : epollDescriptor(std::move(epollDescriptor)), wakeDescriptor(std::move(wakeDescriptor)) {}

    // Needs no memory, since completions come when their operation can't be refused any more.
    void push(Completions added) noexcept;

    // Waits for a completion. Returns 0, WSA_WAIT_TIMEOUT, or WSA_INVALID_HANDLE for a closed port.
    int take(Completion& completion, const Deadline& deadline);

    // Ends every wait. Later completions are dropped.
    void close();

    // When watched has one of pollEvents, a waiting thread advances the operation queue of the
    // socket owner, once. Returns false when the system is out of memory or epoll watches.
    [[nodiscard]] bool watch(int owner, int watched, short pollEvents) noexcept;
    void unwatch(int watched) noexcept;

private:
    // Returns whether the wait has ended, with take's result in outcome. Otherwise the thread
    // counts as waiting.
    bool takeQueued(Completion& completion, int& outcome);
    // Waits for ready descriptors and advances their queues. Returns whether there were any.
    bool advanceReadySockets(const Deadline& deadline);

    Descriptor epollDescriptor;
    Descriptor wakeDescriptor;
    std::mutex mutex;
    Completions completions;
    unsigned int waiting = 0;
    bool signalled = false; // wakeDescriptor is readable
    bool closed = false;
};

} // namespace VexaSsl::linux
