// Making, connecting, accepting, shutting down and closing sockets.
#include "VexaPlatform/HostSockets.h"
#include "platform/contract/Winsock.h"
#include "platform/linux/base/Descriptor.h"
#include "platform/linux/sockets/BlockingCall.h"
#include "platform/linux/sockets/SocketDescriptor.h"
#include "platform/linux/sockets/SocketNotes.h"
#include "platform/linux/sockets/SocketRegistry.h"
#include "platform/linux/sockets/SystemErrors.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace VexaSsl::linux {

namespace {

struct Address {
    sockaddr_storage value{};
    socklen_t length = sizeof(value);

    sockaddr* get() { return reinterpret_cast<sockaddr*>(&value); }
    WSABUF asBuffer() { return {length, reinterpret_cast<char*>(&value)}; }
};

// A connection with its peer's address.
struct Accepted {
    Descriptor connection;
    Address peer;
};

SOCKET noSocket(int error) {
    fail(error);
    return INVALID_SOCKET;
}

// The descriptor of a new socket as the host's; whatever is known of its number is out of date.
SOCKET handOver(Descriptor descriptor) {
    SocketRegistry::instance().welcome(descriptor.get());
    return static_cast<SOCKET>(descriptor.release());
}

// A connect. One that a signal has interrupted goes on by itself: when it is ready, asking again
// tells its outcome, or begins it where it had not begun. "Not yet" means that the system was short
// of something, and is said once more before it counts.
// Result: as connect, with errno; or SOCKET_ERROR with error as the Winsock number.
int connectPatiently(int fd, const sockaddr* name, socklen_t length, int& error) {
    BlockingCall call(fd, Direction::send);
    bool mayBeShort = true;
    bool wasInterrupted = false;
    for (;;) {
        if (::connect(fd, name, length) == 0 || (wasInterrupted && errno == EISCONN)) {
            return 0;
        }
        const bool wasShort = errno == EAGAIN && std::exchange(mayBeShort, false);
        if (errno != EINTR && !wasShort) {
            return SOCKET_ERROR;
        }
        if (errno == EINTR) {
            wasInterrupted = true;
            if (!call.waitUntilReady()) {
                error = call.error();
                return SOCKET_ERROR;
            }
        }
    }
}

int connectTo(int fd, const sockaddr* name, socklen_t length) {
    SocketNotes& notes = SocketNotes::instance();
    int error = 0;
    if (connectPatiently(fd, name, length, error) == 0) {
        notes.connectEnded(fd);
        return 0;
    }
    if (error != 0) {
        return fail(error);
    }
    if (errno == EAGAIN) { // a host that reads WSAEWOULDBLOCK waits for a connect in progress
        return fail(WSAENOBUFS);
    }
    if (errno == EINPROGRESS && isNonBlocking(fd)) {
        notes.connectStarted(fd);
        return fail(WSAEWOULDBLOCK);
    }
    if (errno == EINPROGRESS) { // how a send time-out shows in connect
        return fail(WSAETIMEDOUT);
    }
    if (errno != EALREADY) {
        notes.connectEnded(fd);
    }
    return failWithErrno();
}

// While an AcceptEx tries its luck the listening socket is non-blocking for a moment.
bool isNonBlockingForHost(int listener) {
    const auto queue = SocketRegistry::instance().find(listener);
    return queue ? queue->isNonBlocking() : isNonBlocking(listener);
}

// One connection, a deferred one first. Result: 0 or the number of the failure. The new socket
// blocks, whatever the listening one does.
int takeConnection(int listener, Accepted& accepted) {
    accepted.connection = SocketNotes::instance().takeDeferred(listener);
    if (accepted.connection) {
        getpeername(accepted.connection.get(), accepted.peer.get(), &accepted.peer.length);
        return 0;
    }
    BlockingCall call(listener, Direction::receive);
    for (;;) {
        accepted.peer = Address{};
        accepted.connection =
            Descriptor(accept4(listener, accepted.peer.get(), &accepted.peer.length, SOCK_CLOEXEC));
        if (accepted.connection) {
            return 0;
        }
        if (errno == ECONNABORTED) { // gone before it was taken: the next one
            continue;
        }
        const bool blocks = errno == EAGAIN && !isNonBlockingForHost(listener);
        if (!(blocks ? call.waitUntilReady() : call.mayRetry())) {
            return call.error();
        }
    }
}

// Result: 0 or WSAEFAULT when a peer's address doesn't fit; asked before a connection is taken.
int addressSpaceError(int listener, const sockaddr* addr, const int* addrlen) {
    if (addr == nullptr) {
        return 0;
    }
    Address own;
    if (getsockname(listener, own.get(), &own.length) != 0) {
        return winsockError(errno);
    }
    const bool fits =
        addrlen != nullptr && *addrlen >= 0 && static_cast<socklen_t>(*addrlen) >= own.length;
    return fits ? 0 : WSAEFAULT;
}

void copyPeer(const Address& peer, sockaddr* addr, int* addrlen) {
    if (addr == nullptr) {
        return;
    }
    const auto length = std::min(static_cast<socklen_t>(*addrlen), peer.length);
    std::memcpy(addr, &peer.value, length);
    *addrlen = static_cast<int>(length);
}

// Ends a connection so that the peer sees a refusal instead of an orderly end.
void reject(Descriptor connection) {
    const linger atOnce{1, 0};
    setsockopt(connection.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
}

int askCondition(Accepted& accepted, LPCONDITIONPROC condition, DWORD_PTR callbackData) {
    Address own;
    getsockname(accepted.connection.get(), own.get(), &own.length);
    WSABUF callerId = accepted.peer.asBuffer();
    WSABUF calleeId = own.asBuffer();
    WSABUF callerData;
    WSABUF calleeData;
    GROUP group = 0;
    return condition(&callerId, &callerData, nullptr, nullptr, &calleeId, &calleeData, &group,
                     callbackData);
}

void defer(int listener, Descriptor connection) {
    SocketNotes::instance().deferConnection(listener, std::move(connection));
    if (const auto queue = SocketRegistry::instance().find(listener)) {
        queue->advance(); // an AcceptEx may be waiting
    }
}

} // namespace

} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

SOCKET socket(int af, int type, int protocol) {
    Descriptor made;
    do {
        made = Descriptor(::socket(af, type | SOCK_CLOEXEC, protocol));
    } while (!made && errno == EINTR);
    return made ? handOver(std::move(made)) : noSocket(winsockError(errno));
}

int bind(SOCKET s, const sockaddr* name, int namelen) {
    const int fd = descriptorOf(s);
    if (name == nullptr || namelen < 0) {
        return fail(isSocket(fd) ? WSAEFAULT : WSAENOTSOCK);
    }
    return ::bind(fd, name, static_cast<socklen_t>(namelen)) == 0 ? 0 : failWithErrno();
}

int listen(SOCKET s, int backlog) {
    return ::listen(descriptorOf(s), backlog) == 0 ? 0 : failWithErrno();
}

int shutdown(SOCKET s, int how) {
    int direction = 0;
    switch (how) {
    case SD_RECEIVE:
        direction = SHUT_RD;
        break;
    case SD_SEND:
        direction = SHUT_WR;
        break;
    case SD_BOTH:
        direction = SHUT_RDWR;
        break;
    default:
        return fail(isSocket(descriptorOf(s)) ? WSAEINVAL : WSAENOTSOCK);
    }
    return ::shutdown(descriptorOf(s), direction) == 0 ? 0 : failWithErrno();
}

int closesocket(SOCKET s) {
    const int error = SocketRegistry::instance().close(descriptorOf(s));
    return error == 0 ? 0 : fail(error);
}

int connect(SOCKET s, const sockaddr* name, int namelen) {
    const int fd = descriptorOf(s);
    if (name == nullptr || namelen < 0) {
        return fail(isSocket(fd) ? WSAEFAULT : WSAENOTSOCK);
    }
    return connectTo(fd, name, static_cast<socklen_t>(namelen));
}

// Data that travels with the connection request is unknown to TCP and UDP; quality of service isn't
// acted upon.
int WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData, WSABUF* calleeData,
               QOS*, QOS*) {
    if (callerData != nullptr && callerData->len != 0) {
        return fail(isSocket(descriptorOf(s)) ? WSAEPROTONOSUPPORT : WSAENOTSOCK);
    }
    const int result = connect(s, name, namelen);
    if (result == 0 && calleeData != nullptr) {
        calleeData->len = 0;
    }
    return result;
}

SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) {
    const int listener = descriptorOf(s);
    if (const int error = addressSpaceError(listener, addr, addrlen)) {
        return noSocket(error);
    }
    Accepted accepted;
    if (const int error = takeConnection(listener, accepted)) {
        return noSocket(error);
    }
    copyPeer(accepted.peer, addr, addrlen);
    return handOver(std::move(accepted.connection));
}

// The system tells of a peer only together with its connection, so the connection exists already
// when the condition is asked.
SOCKET WSAAccept(SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                 DWORD_PTR callbackData) {
    if (condition == nullptr) {
        return accept(s, addr, addrlen);
    }
    const int listener = descriptorOf(s);
    if (const int error = addressSpaceError(listener, addr, addrlen)) {
        return noSocket(error);
    }
    Accepted accepted;
    if (const int error = takeConnection(listener, accepted)) {
        return noSocket(error);
    }
    switch (askCondition(accepted, condition, callbackData)) {
    case CF_ACCEPT:
        copyPeer(accepted.peer, addr, addrlen);
        return handOver(std::move(accepted.connection));
    case CF_DEFER:
        defer(listener, std::move(accepted.connection));
        return noSocket(WSATRY_AGAIN);
    case CF_REJECT:
        reject(std::move(accepted.connection));
        return noSocket(WSAECONNREFUSED);
    default:
        reject(std::move(accepted.connection));
        return noSocket(WSAEINVAL);
    }
}

} // namespace VexaSsl::platform
