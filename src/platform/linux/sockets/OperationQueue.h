// The pending overlapped operations of one socket, in the order of posting, and the port that the
// socket is bound to. Any thread; whoever waits for one of them moves all of them on.
//
// Locks, outer to inner: the queue of a listening socket, the queue of a socket that it fills,
// then an event, a port, a waiting thread. No lock is held while a thread waits.
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
    explicit OperationQueue(int socket) : fd(socket) {}

    // Tries operation at once, if none is pending before it, and else keeps it.
    // Result: empty when it is pending; an error that nobody else is told of; or a success, which
    // has been delivered, too.
    std::optional<TransferResult> post(std::unique_ptr<Operation> operation);

    // post for an operation that fills acceptQueue's socket, which must not be in use by another
    // (WSAEINVAL) nor closed (WSAENOTSOCK).
    std::optional<TransferResult> postAccept(std::unique_ptr<AcceptOperation> operation,
                                             std::shared_ptr<OperationQueue> acceptQueue);

    // Delivers the success of an operation that never stood in the queue.
    void deliver(Delivery& delivery, const TransferResult& result);

    // Moves on what can move.
    void advance();
    // The same for the operations that a port watched for by this descriptor.
    void serve(const CompletionPort& port, int watched);

    // Result: false when the socket is bound already.
    bool bind(PortBinding newBinding);
    bool isBound() const;

    // Completes everything with WSA_OPERATION_ABORTED and refuses whatever comes later.
    void close();
    void abortRoutinesOf(const WaitingThread& thread);

    bool has(const OVERLAPPED* overlapped) const;
    void appendAwaited(std::vector<pollfd>& entries) const;
    void addWaiter(WaitingThread& thread);
    void removeWaiter(WaitingThread& thread);

    // Whether the host has made the socket non-blocking; a passing change by AcceptOperation isn't
    // seen.
    bool isNonBlocking() const;

    // For AcceptOperation, on the queue of the socket that it fills.
    void endReservation();
    void descriptorWasReplaced();

private:
    using Line = std::deque<std::unique_ptr<Operation>>;

    // All of these are called with the lock held.
    std::optional<TransferResult> postLocked(std::unique_ptr<Operation> operation);
    void enqueue(std::unique_ptr<Operation> operation);
    void finish(std::unique_ptr<Operation> operation, const TransferResult& result);
    void advanceLine();
    void advanceAside(int watched);
    // What the port can't watch ends with WSAENOBUFS.
    void armLine();
    void armAside(int watched);
    void abortIf(const std::function<bool(const Operation&)>& isMeant);

    int reserve(const std::shared_ptr<OperationQueue>& listener);
    void abortFilling(int place);

    const int fd;
    mutable std::mutex mutex;
    Line line;
    // Operations that wait for another descriptor, by that descriptor.
    std::map<int, std::unique_ptr<Operation>> aside;
    PortBinding binding;
    short armedEvents = 0; // what the port watches fd for
    bool isClosed = false;
    std::weak_ptr<OperationQueue> filler; // the listening socket whose AcceptEx will fill this one
    Waiters waiters;
};

} // namespace VexaSsl::linux
