// How the end of one overlapped operation reaches its host: through the overlapped structure, and
// then by a completion routine, or an event, a completion port, or both. Guarded by the lock of the
// operation queue in which the operation stands.
#pragma once

#include "VexaPlatform/WinsockShapes.h"
#include "platform/linux/sockets/Transfers.h"

#include <memory>

namespace VexaSsl::linux {

class CompletionPort;
class Event;
class OperationQueue;
class WaitingThread;

// What OVERLAPPED::Internal holds while the operation is pending.
inline constexpr ULONG_PTR statusPending = 0x103;

// The port that a socket is bound to, if any, and the key that its completions carry.
struct PortBinding {
    std::shared_ptr<CompletionPort> port;
    ULONG_PTR key = 0;
};

class Delivery {
public:
    // Looks up the event of overlapped and, for a routine, the calling thread.
    // Result: 0, WSA_INVALID_HANDLE for an event that isn't one, or WSAEMFILE. overlapped must
    // stay in place until finish.
    int prepare(OVERLAPPED& overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine);

    Delivery() = default;
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;
    ~Delivery(); // takes back what watch did

    bool isFor(const OVERLAPPED* overlapped) const noexcept { return target == overlapped; }
    bool isFor(const WaitingThread& other) const noexcept { return thread.get() == &other; }
    bool hasRoutine() const noexcept { return routine != nullptr; }

    // Where a success at once is to be written, each perhaps null. The places are used by
    // answerCaller and never afterwards: once the host has been told they may be gone.
    void setAnswerPlaces(DWORD* transferred, DWORD* flags) noexcept;
    void answerCaller(const TransferResult& result) const noexcept;

    // Marks the operation as pending and resets its event.
    void begin();
    // Tells whoever waits for the event or for routines that queue has this operation.
    void watch(const std::shared_ptr<OperationQueue>& queue);
    // Writes the outcome, the last touch of the overlapped structure, and tells nobody.
    void record(const TransferResult& result) noexcept;
    // Writes the outcome and tells the host.
    void finish(const TransferResult& result, const PortBinding& binding);

private:
    OVERLAPPED* target = nullptr;
    LPWSAOVERLAPPED_COMPLETION_ROUTINE routine = nullptr;
    std::shared_ptr<Event> event;
    std::shared_ptr<WaitingThread> thread;
    DWORD* transferredPlace = nullptr;
    DWORD* flagsPlace = nullptr;
    bool skipsPort = false;
    bool isWatched = false;
};

// The state of an operation as a host on any thread sees it. Reading a finished one also makes
// visible what the operation wrote.
struct OverlappedStatus {
    bool isPending;
    int error;
    DWORD transferred;
};
OverlappedStatus statusOf(OVERLAPPED& overlapped) noexcept;

} // namespace VexaSsl::linux
