// The pending overlapped operations of one socket in the order of posting, and the completion port
// to which the socket is bound. There is no thread of ours: a thread that waits for one operation
// advances all of them, that is, attempts each one again. Any thread.
//
// Lock order: the queue of a listening socket, the queue of its accept socket, then an event, a
// port or a waiting thread. No lock is held while a thread waits.
#pragma once

#include "platform/linux/sockets/Operation.h"
#include "platform/linux/sockets/Watchers.h"

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace VexaSsl::linux {

class OperationQueue : public std::enable_shared_from_this<OperationQueue> {
public:
    explicit OperationQueue(int fd) : fd(fd) {}

    // Attempts operation at once if none is pending, otherwise queues it. Returns nothing when it
    // is pending; an error, which is not delivered; or a success, which has been delivered as well.
    std::optional<TransferResult> post(std::unique_ptr<Operation> operation);

    // The same for an AcceptEx. Fails with WSAEINVAL when the socket of acceptQueue has pending
    // operations or is the accept socket of another AcceptEx, with WSAENOTSOCK when it is closed.
    std::optional<TransferResult> postAccept(std::unique_ptr<AcceptOperation> operation,
                                             std::shared_ptr<OperationQueue> acceptQueue);

    // Delivers the success of an operation that was never queued.
    void deliver(Delivery& delivery, const TransferResult& result);

    // Advances the operations.
    void advance();
    // Advances the operations that wait for watched, which port has found ready.
    void advanceReady(const CompletionPort& port, int watched);

    // Returns false when the socket is already bound or closed.
    bool bind(PortBinding portBinding);
    bool isBound() const;

    // Completes every operation with WSA_OPERATION_ABORTED. Later ones fail.
    void close();
    void abortRoutinesOf(const WaitingThread& thread);

    bool contains(const OVERLAPPED* overlapped) const;
    void appendPollEntries(std::vector<pollfd>& entries) const;
    void addWaiter(WaitingThread& thread);
    void removeWaiter(WaitingThread& thread);

    // Returns whether the host has made the socket non-blocking, without the temporary change by
    // AcceptOperation.
    bool isNonBlocking() const;

    // For AcceptOperation, on the queue of its accept socket.
    void endReservation();
    void descriptorWasReplaced();

private:
    using Operations = std::deque<std::unique_ptr<Operation>>;

    // Called with the lock held. "Arm" sets the port's one-shot watch; an operation for which that
    // fails is completed with WSAENOBUFS.
    std::optional<TransferResult> postLocked(std::unique_ptr<Operation> operation);
    void enqueue(std::unique_ptr<Operation> operation);
    void finish(std::unique_ptr<Operation> operation, const TransferResult& result);
    void advanceQueued();
    void advanceAwaitingData(int watched);
    void armQueued();
    void armAwaitingData(int watched);
    void abortIf(const std::function<bool(const Operation&)>& matches);

    int reserve(const std::shared_ptr<OperationQueue>& listener);
    void abortAcceptsInto(int acceptSocket);

    const int fd;
    mutable std::mutex mutex;
    Operations queued;
    // Accepted connections that wait for their first data, by accept socket.
    std::map<int, std::unique_ptr<Operation>> awaitingData;
    PortBinding binding;
    short armedEvents = 0; // the events for which the port watches fd
    bool isClosed = false;
    std::weak_ptr<OperationQueue> acceptingListener; // whose AcceptEx has this as accept socket
    Waiters waiters;
};

} // namespace VexaSsl::linux
