#include "platform/linux/sockets/Operation.h"

#include "platform/linux/base/Descriptor.h"
#include "platform/linux/sockets/OperationQueue.h"
#include "platform/linux/sockets/SocketDescriptor.h"
#include "platform/linux/sockets/SocketStates.h"
#include "platform/linux/sockets/SystemErrors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <utility>

namespace VexaSsl::linux {

namespace {

// Makes fd non-blocking for the object's lifetime. The mode is a property of the socket, so another
// thread's accept on fd sees it too. OperationQueue::isNonBlocking returns the host's mode: it
// takes the lock that is held meanwhile.
class ScopedNonBlocking {
public:
    explicit ScopedNonBlocking(int fd) : fd(fd), flags(fcntl(fd, F_GETFL)) {
        if (changes()) {
            fcntl(fd, F_SETFL, flags | O_NONBLOCK);
        }
    }
    ScopedNonBlocking(const ScopedNonBlocking&) = delete;
    ScopedNonBlocking& operator=(const ScopedNonBlocking&) = delete;
    ~ScopedNonBlocking() {
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

// Returns a pending connection; or none, and sets error to errno, EAGAIN when none is pending.
Descriptor acceptPending(int listener, int& error) {
    error = EAGAIN;
    if (!isReadable(listener)) {
        return Descriptor{};
    }
    const ScopedNonBlocking nonBlocking(listener);
    for (;;) {
        Descriptor connection(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
        error = errno;
        if (connection || (error != EINTR && error != ECONNABORTED)) {
            return connection;
        }
    }
}

// Copies the blocking mode and the timeouts, which the host may have set on the accept socket.
void copyHostOptions(int from, int to) {
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

AcceptOperation::AcceptOperation(int acceptSocket, const AcceptBuffer& output)
    : acceptSocket(acceptSocket), output(output) {}

AcceptOperation::~AcceptOperation() {
    if (acceptQueue) {
        acceptQueue->endReservation();
    }
}

void AcceptOperation::setAcceptQueue(std::shared_ptr<OperationQueue> queue) {
    acceptQueue = std::move(queue);
}

std::optional<TransferResult> AcceptOperation::attempt(int fd) {
    if (!isConnected) {
        Descriptor connection = SocketStates::instance().takeDeferred(fd);
        int error = 0;
        if (!connection) {
            connection = acceptPending(fd, error);
        }
        if (!connection) {
            return error == EAGAIN ? std::nullopt
                                   : std::optional(TransferResult{winsockError(error), 0});
        }
        if (const int failure = replaceAcceptSocket(connection.get())) {
            return TransferResult{failure, 0};
        }
        isConnected = true;
    }
    return output.dataLength == 0 ? TransferResult{} : attemptFirstData();
}

// Returns 0 or a Winsock error code.
int AcceptOperation::replaceAcceptSocket(int connection) const {
    copyHostOptions(acceptSocket, connection);
    while (dup3(connection, acceptSocket, O_CLOEXEC) < 0) {
        if (errno != EINTR && errno != EBUSY) {
            return winsockError(errno);
        }
    }
    acceptQueue->descriptorWasReplaced();
    socklen_t length = output.localLength;
    getsockname(acceptSocket, reinterpret_cast<sockaddr*>(output.local()), &length);
    length = output.remoteLength;
    getpeername(acceptSocket, reinterpret_cast<sockaddr*>(output.remote()), &length);
    return 0;
}

std::optional<TransferResult> AcceptOperation::attemptFirstData() const {
    const iovec buffer{output.memory, output.dataLength};
    ReceiveOperation receive({buffer}, 0);
    return receive.attempt(acceptSocket);
}

pollfd AcceptOperation::pollEntry(int fd) const {
    return {isConnected ? acceptSocket : fd, POLLIN, 0};
}

} // namespace VexaSsl::linux
