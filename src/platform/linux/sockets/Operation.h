// One overlapped operation as it stands in the queue of its socket: how it is tried, and what it
// waits for. Guarded by that queue's lock.
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

    // Tries on, never blocks. Empty: not yet.
    virtual std::optional<TransferResult> attempt(int fd) = 0;

    // The descriptor and the readiness that make a further attempt worth while. A descriptor other
    // than fd, the queue's own, means that the operation no longer holds up those behind it.
    virtual pollfd awaited(int fd) const = 0;

    // Whether it would put something in the place of this descriptor.
    virtual bool isFilling(int) const { return false; }

    Delivery delivery;
};

// WSARecv. The array that describes the buffers is copied, the buffers are the host's.
class ReceiveOperation : public Operation {
public:
    ReceiveOperation(std::vector<iovec> receiveBuffers, DWORD receiveFlags);

    std::optional<TransferResult> attempt(int fd) override;
    pollfd awaited(int fd) const override;

private:
    std::optional<TransferResult> attemptRead(int fd, msghdr& message);

    std::vector<iovec> buffers;
    BufferCursor cursor;
    DWORD flags;
    bool onlyProbes; // no room for a single byte: the host waits for readiness
    std::uint64_t received = 0;
};

// AcceptEx's buffer: received data, then the area of the local and of the remote address. An area
// begins with the address in the system's sockaddr shape.
struct AcceptBuffer {
    char* memory;
    DWORD dataLength;
    DWORD localLength;
    DWORD remoteLength;

    char* local() const { return memory + dataLength; }
    char* remote() const { return local() + localLength; }
};

// AcceptEx: takes a connection, puts it in the place of the accept socket, and then perhaps waits
// for the first data on it.
class AcceptOperation : public Operation {
public:
    AcceptOperation(int acceptSocket, const AcceptBuffer& outputBuffer);
    ~AcceptOperation() override; // ends the reservation

    // acceptQueue, that of the accept socket, has been reserved for this operation.
    void hold(std::shared_ptr<OperationQueue> acceptQueue);

    std::optional<TransferResult> attempt(int fd) override;
    pollfd awaited(int fd) const override;
    bool isFilling(int fd) const override { return fd == place; }

private:
    int takePlace(int connection) const;
    std::optional<TransferResult> attemptFirstData() const;

    int place;
    std::shared_ptr<OperationQueue> placeQueue;
    AcceptBuffer output;
    bool isConnected = false;
};

} // namespace VexaSsl::linux
