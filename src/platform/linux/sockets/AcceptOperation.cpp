#include "platform/linux/sockets/Operation.h"

#include "platform/linux/base/Descriptor.h"
#include "platform/linux/sockets/OperationQueue.h"
#include "platform/linux/sockets/SocketDescriptor.h"
#include "platform/linux/sockets/SocketNotes.h"
#include "platform/linux/sockets/SystemErrors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <utility>

namespace VexaSsl::linux {

namespace {

// For its lifetime calls on fd return at once. The mode belongs to the socket, not to the call, so
// whoever blocks in accept on fd must not trust it: OperationQueue::isNonBlocking waits this out.
class NonBlockingMoment {
public:
    explicit NonBlockingMoment(int socket) : fd(socket), flags(fcntl(socket, F_GETFL)) {
        if (changes()) {
            fcntl(fd, F_SETFL, flags | O_NONBLOCK);
        }
    }
    NonBlockingMoment(const NonBlockingMoment&) = delete;
    NonBlockingMoment& operator=(const NonBlockingMoment&) = delete;
    ~NonBlockingMoment() {
        if (changes()) {
            fcntl(fd, F_SETFL, flags);
        }
    }

private:
    bool changes() const { return flags >= 0 && (flags & O_NONBLOCK) == 0; }

    int fd;
    int flags;
};

bool isReadable(int fd) {
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, 0) != 0; // a failure shows in accept
}

// A connection that is there, or none with error as errno; EAGAIN when there is none yet.
Descriptor acceptPresent(int listener, int& error) {
    error = EAGAIN;
    if (!isReadable(listener)) {
        return Descriptor{};
    }
    const NonBlockingMoment moment(listener);
    for (;;) {
        Descriptor connection(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
        error = errno;
        if (connection || (error != EINTR && error != ECONNABORTED)) {
            return connection;
        }
    }
}

// What the host has set on the socket that the connection replaces.
void carryOver(int from, int to) {
    if (isNonBlocking(from)) {
        fcntl(to, F_SETFL, fcntl(to, F_GETFL) | O_NONBLOCK);
    }
    for (const int option : {SO_RCVTIMEO, SO_SNDTIMEO}) {
        timeval limit{};
        socklen_t size = sizeof(limit);
        if (getsockopt(from, SOL_SOCKET, option, &limit, &size) == 0) {
            setsockopt(to, SOL_SOCKET, option, &limit, size);
        }
    }
}

} // namespace

AcceptOperation::AcceptOperation(int acceptSocket, const AcceptBuffer& outputBuffer)
    : place(acceptSocket), output(outputBuffer) {}

AcceptOperation::~AcceptOperation() {
    if (placeQueue) {
        placeQueue->endReservation();
    }
}

void AcceptOperation::hold(std::shared_ptr<OperationQueue> acceptQueue) {
    placeQueue = std::move(acceptQueue);
}

std::optional<TransferResult> AcceptOperation::attempt(int fd) {
    if (!isConnected) {
        Descriptor connection = SocketNotes::instance().takeDeferred(fd);
        int error = 0;
        if (!connection) {
            connection = acceptPresent(fd, error);
        }
        if (!connection) {
            return error == EAGAIN ? std::nullopt
                                   : std::optional(TransferResult{winsockError(error), 0});
        }
        if (const int failure = takePlace(connection.get())) {
            return TransferResult{failure, 0};
        }
        isConnected = true;
    }
    return output.dataLength == 0 ? TransferResult{} : attemptFirstData();
}

// Result: 0 or the number of the failure.
int AcceptOperation::takePlace(int connection) const {
    carryOver(place, connection);
    while (dup3(connection, place, O_CLOEXEC) < 0) {
        if (errno != EINTR && errno != EBUSY) {
            return winsockError(errno);
        }
    }
    placeQueue->descriptorWasReplaced();
    socklen_t length = output.localLength;
    getsockname(place, reinterpret_cast<sockaddr*>(output.local()), &length);
    length = output.remoteLength;
    getpeername(place, reinterpret_cast<sockaddr*>(output.remote()), &length);
    return 0;
}

std::optional<TransferResult> AcceptOperation::attemptFirstData() const {
    const iovec buffer{output.memory, output.dataLength};
    ReceiveOperation firstData({buffer}, 0);
    return firstData.attempt(place);
}

pollfd AcceptOperation::awaited(int fd) const {
    return {isConnected ? place : fd, POLLIN, 0};
}

} // namespace VexaSsl::linux
