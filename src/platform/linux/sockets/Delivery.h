// How the host learns of the completion of one overlapped operation: through the OVERLAPPED
// structure and a completion routine, or through the structure and an event, a completion port or
// both. Guarded by the lock of the operation queue.
#pragma once

#include "VexaPlatform/WinsockShapes.h"
#include "platform/linux/sockets/CompletionPort.h"
#include "platform/linux/sockets/Transfers.h"

#include <memory>

namespace VexaSsl::linux {

class Event;
class OperationQueue;
class WaitingThread;

// OVERLAPPED::Internal while the operation is pending (STATUS_PENDING).
inline constexpr ULONG_PTR statusPending = 0x103;

// The port to which a socket is bound, or null, and the completion key.
struct PortBinding {
    std::shared_ptr<CompletionPort> port;
    ULONG_PTR key = 0;
};

class Delivery {
public:
    // Looks up the event of overlapped or, for a routine, the calling thread. Returns 0,
    // WSA_INVALID_HANDLE for an invalid event, or WSAEMFILE. overlapped must live until finish.
    // Throws std::bad_alloc.
    int prepare(OVERLAPPED& overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine);

    Delivery() = default;
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;
    ~Delivery(); // undoes watch

    bool isFor(const OVERLAPPED* overlapped) const noexcept { return target == overlapped; }
    bool isFor(const WaitingThread& other) const noexcept { return thread.get() == &other; }
    bool hasRoutine() const noexcept { return routine != nullptr; }

    // The variables of the caller that receive the result of an operation that succeeds at once;
    // each may be null. Only storeResults writes to them, before the caller's call returns.
    void setResultPointers(DWORD* transferred, DWORD* flags) noexcept;
    void storeResults(const TransferResult& result) const noexcept;

    // Marks the operation as pending and resets its event.
    void begin();
    // Tells the threads that wait for the event or for routines that queue has this operation.
    void watch(const std::shared_ptr<OperationQueue>& queue);
    // Writes the result to the OVERLAPPED structure, which isn't accessed afterwards.
    void record(const TransferResult& result) noexcept;
    // The same, and notifies the host.
    void finish(const TransferResult& result, const PortBinding& binding);

private:
    OVERLAPPED* target = nullptr;
    LPWSAOVERLAPPED_COMPLETION_ROUTINE routine = nullptr;
    std::shared_ptr<Event> event;
    std::shared_ptr<WaitingThread> thread;
    DWORD* transferredPointer = nullptr;
    DWORD* flagsPointer = nullptr;
    bool skipsPort = false;
    CompletionPort::Completions reserved; // one, for the port
    bool isWatched = false;
};

// The state of an operation, for any thread. Reading it synchronises with the operation's writes to
// its buffers.
struct OverlappedStatus {
    bool isPending;
    int error;
    DWORD transferred;
};
OverlappedStatus statusOf(OVERLAPPED& overlapped) noexcept;

} // namespace VexaSsl::linux
