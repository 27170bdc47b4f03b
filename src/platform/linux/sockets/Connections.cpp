// Creating, connecting, accepting, shutting down and closing sockets.
#include "VexaPlatform/HostSockets.h"
#include "platform/contract/Winsock.h"
#include "platform/linux/base/Descriptor.h"
#include "platform/linux/sockets/BlockingCall.h"
#include "platform/linux/sockets/SocketDescriptor.h"
#include "platform/linux/sockets/SocketRegistry.h"
#include "platform/linux/sockets/SocketStates.h"
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

SOCKET failWithInvalidSocket(int error) {
    fail(error);
    return INVALID_SOCKET;
}

// Returns the new socket for the host, and discards what is stored about an earlier one with the
// same descriptor.
SOCKET registerSocket(Descriptor descriptor) {
    SocketRegistry::instance().forgetPrevious(descriptor.get());
    return static_cast<SOCKET>(descriptor.release());
}

// Connects. A connect that a signal interrupts continues in the background; once the socket is
// ready, a second call returns its result. EAGAIN is a shortage of resources, tried again once.
// Returns as connect does, with errno; or SOCKET_ERROR with a Winsock code in error.
int connectRetrying(int fd, const sockaddr* name, socklen_t length, int& error) {
    BlockingCall call(fd, Direction::send);
    bool mayRetryShortage = true;
    bool wasInterrupted = false;
    for (;;) {
        if (::connect(fd, name, length) == 0 || (wasInterrupted && errno == EISCONN)) {
            return 0;
        }
        const bool isFirstShortage = errno == EAGAIN && std::exchange(mayRetryShortage, false);
        if (errno != EINTR && !isFirstShortage) {
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
    SocketStates& states = SocketStates::instance();
    int error = 0;
    if (connectRetrying(fd, name, length, error) == 0) {
        states.connectEnded(fd);
        return 0;
    }
    if (error != 0) {
        return fail(error);
    }
    if (errno == EAGAIN) { // not WSAEWOULDBLOCK, on which a host waits for a connect in progress
        return fail(WSAENOBUFS);
    }
    if (errno == EINPROGRESS && isNonBlocking(fd)) {
        states.connectStarted(fd);
        return fail(WSAEWOULDBLOCK);
    }
    if (errno == EINPROGRESS) { // SO_SNDTIMEO has passed
        return fail(WSAETIMEDOUT);
    }
    if (errno != EALREADY) {
        states.connectEnded(fd);
    }
    return failWithErrno();
}

// An AcceptEx makes the listening socket non-blocking for a moment; see ScopedNonBlocking.
bool isNonBlockingForHost(int listener) {
    const auto queue = SocketRegistry::instance().find(listener);
    return queue ? queue->isNonBlocking() : isNonBlocking(listener);
}

// Takes one connection, a deferred one first. The new socket is blocking, also from a non-blocking
// listener. Returns 0 or a Winsock error code.
int takeConnection(int listener, Accepted& accepted) {
    accepted.connection = SocketStates::instance().takeDeferred(listener);
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
        if (errno == ECONNABORTED) { // reset while in the listen queue
            continue;
        }
        const bool blocks = errno == EAGAIN && !isNonBlockingForHost(listener);
        if (!(blocks ? call.waitUntilReady() : call.prepareRetry())) {
            return call.error();
        }
    }
}

// Checks, before a connection is taken, that a peer's address fits. Returns 0, WSAEFAULT, or the
// error code for an invalid listener.
int addressBufferError(int listener, const sockaddr* addr, const int* addrlen) {
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

// Closes a connection with a reset instead of an orderly shutdown.
void reject(Descriptor connection) {
    const linger abortive{1, 0};
    setsockopt(connection.get(), SOL_SOCKET, SO_LINGER, &abortive, sizeof(abortive));
}

int callCondition(Accepted& accepted, LPCONDITIONPROC condition, DWORD_PTR callbackData) {
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
    SocketStates::instance().deferConnection(listener, std::move(connection));
    if (const auto queue = SocketRegistry::instance().find(listener)) {
        queue->advance(); // an AcceptEx may be pending
    }
}

} // namespace

} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

SOCKET socket(int af, int type, int protocol) {
    Descriptor descriptor;
    do {
        descriptor = Descriptor(::socket(af, type | SOCK_CLOEXEC, protocol));
    } while (!descriptor && errno == EINTR);
    return descriptor ? registerSocket(std::move(descriptor))
                      : failWithInvalidSocket(winsockError(errno));
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

// TCP and UDP send no data with a connection request. Quality of service is ignored.
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
    if (const int error = addressBufferError(listener, addr, addrlen)) {
        return failWithInvalidSocket(error);
    }
    Accepted accepted;
    if (const int error = takeConnection(listener, accepted)) {
        return failWithInvalidSocket(error);
    }
    copyPeer(accepted.peer, addr, addrlen);
    return registerSocket(std::move(accepted.connection));
}

// The system reports a peer only by accepting its connection, so the connection is established
// before the condition function is called.
SOCKET WSAAccept(SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                 DWORD_PTR callbackData) {
    if (condition == nullptr) {
        return accept(s, addr, addrlen);
    }
    const int listener = descriptorOf(s);
    if (const int error = addressBufferError(listener, addr, addrlen)) {
        return failWithInvalidSocket(error);
    }
    Accepted accepted;
    if (const int error = takeConnection(listener, accepted)) {
        return failWithInvalidSocket(error);
    }
    switch (callCondition(accepted, condition, callbackData)) {
    case CF_ACCEPT:
        copyPeer(accepted.peer, addr, addrlen);
        return registerSocket(std::move(accepted.connection));
    case CF_DEFER:
        defer(listener, std::move(accepted.connection));
        return failWithInvalidSocket(WSATRY_AGAIN);
    case CF_REJECT:
        reject(std::move(accepted.connection));
        return failWithInvalidSocket(WSAECONNREFUSED);
    default:
        reject(std::move(accepted.connection));
        return failWithInvalidSocket(WSAEINVAL);
    }
}

} // namespace VexaSsl::platform
