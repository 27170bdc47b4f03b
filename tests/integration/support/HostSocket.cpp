#include "integration/support/HostSocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

#include <filesystem>
#include <iterator>
#include <stdexcept>

namespace VexaSsl::test {

void HostSocket::close() {
    if (socket != INVALID_SOCKET) {
        platform::closesocket(std::exchange(socket, INVALID_SOCKET));
    }
}

void limitWaiting(SOCKET socket, int seconds) {
    const timeval limit{seconds, 0};
    const int descriptor = static_cast<int>(socket);
    ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    ::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    const int on = 1;
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

HostSocket makeSocket(int family) {
    HostSocket made(platform::socket(family, SOCK_STREAM, IPPROTO_TCP));
    if (made.handle() == INVALID_SOCKET) {
        throw std::runtime_error("no socket: " + std::to_string(platform::WSAGetLastError()));
    }
    limitWaiting(made.handle());
    return made;
}

namespace {

int bindLoopback(SOCKET socket, int family) {
    if (family == AF_INET6) {
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        address.sin6_addr = in6addr_loopback;
        return platform::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return platform::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

std::uint16_t portOf(SOCKET socket) {
    sockaddr_in6 address{}; // the port stands at the same place for both families
    socklen_t length = sizeof address;
    ::getsockname(static_cast<int>(socket), reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin6_port);
}

} // namespace

Listener::Listener(int family) : socket(makeSocket(family)) {
    if (bindLoopback(socket.handle(), family) != 0 || platform::listen(socket.handle(), 256) != 0) {
        throw std::runtime_error("can't listen: " + std::to_string(platform::WSAGetLastError()));
    }
    boundPort = portOf(socket.handle());
}

HostSocket rawConnection(std::uint16_t port) {
    HostSocket made = makeSocket();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    ::connect(made.descriptor(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    return made;
}

Overlapped::Overlapped() {
    state.hEvent = platform::WSACreateEvent();
}

Overlapped::~Overlapped() {
    platform::WSACloseEvent(state.hEvent);
}

bool Overlapped::wait(SOCKET socket, DWORD& transferred) {
    const DWORD woken =
        platform::WSAWaitForMultipleEvents(1, &state.hEvent, FALSE, patienceMilliseconds, FALSE);
    if (woken != platform::WSA_WAIT_EVENT_0) {
        platform::WSASetLastError(WSAETIMEDOUT);
        return false;
    }
    DWORD flags = 0;
    return platform::WSAGetOverlappedResult(socket, &state, &transferred, FALSE, &flags) == TRUE;
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator held("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(held), end(held)));
}

} // namespace VexaSsl::test
