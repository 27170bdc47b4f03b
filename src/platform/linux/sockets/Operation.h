// The overlapped operations: how each is attempted and what it waits for. Guarded by the lock of
// the operation queue.
#pragma once

#include "platform/linux/sockets/Delivery.h"
#include "platform/linux/sockets/Transfers.h"

#include <poll.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace VexaSsl::linux {

class Operation {
public:
    Operation() = default;
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;
    virtual ~Operation() = default;

    // Continues the operation without blocking. Returns nothing while it is pending.
    virtual std::optional<TransferResult> attempt(int fd) = 0;

    // Returns the descriptor and the events that the operation waits for. If the descriptor isn't
    // fd, the queue's own, the operations that follow in the queue don't wait for this one.
    virtual pollfd pollEntry(int fd) const = 0;

    // Returns whether the operation will replace the socket of this descriptor.
    virtual bool acceptsInto(int) const { return false; }

    Delivery delivery;
};

// WSARecv. The operation owns the array of buffers; their memory is the host's.
class ReceiveOperation : public Operation {
public:
    ReceiveOperation(std::vector<iovec> buffers, DWORD flags);

    std::optional<TransferResult> attempt(int fd) override;
    pollfd pollEntry(int fd) const override;

private:
    std::optional<TransferResult> attemptRead(int fd, msghdr& header);

    std::vector<iovec> buffers;
    BufferCursor cursor;
    DWORD flags;
    bool isReadinessProbe; // all buffers are empty: the host waits for data without reading it
    std::uint64_t received = 0;
};

// AcceptEx's buffer: received data, the area of the local address, and that of the remote one. An
// area begins with the address as the system's sockaddr.
struct AcceptBuffer {
    char* memory;
    DWORD dataLength;
    DWORD localLength;
    DWORD remoteLength;

    char* local() const { return memory + dataLength; }
    char* remote() const { return local() + localLength; }
};

// AcceptEx: takes a connection, which replaces the accept socket, and waits for the first data if
// the buffer has room for data.
class AcceptOperation : public Operation {
public:
    AcceptOperation(int acceptSocket, const AcceptBuffer& output);
    ~AcceptOperation() override; // ends the reservation

    // queue is that of the accept socket and has been reserved for this operation.
    void setAcceptQueue(std::shared_ptr<OperationQueue> queue);

    std::optional<TransferResult> attempt(int fd) override;
    pollfd pollEntry(int fd) const override;
    bool acceptsInto(int fd) const override { return fd == acceptSocket; }

private:
    int replaceAcceptSocket(int connection) const;
    std::optional<TransferResult> attemptFirstData() const;

    int acceptSocket;
    std::shared_ptr<OperationQueue> acceptQueue;
    AcceptBuffer output;
    bool isConnected = false;
};

} // namespace VexaSsl::linux
