#include "integration/support/HostSocket.h"

#include <stdexcept>
#include <string>

namespace VexaSsl::test {

void HostSocket::close() {
    if (socket != INVALID_SOCKET) {
        platform::closesocket(std::exchange(socket, INVALID_SOCKET));
    }
}

HostSocket makeSocket(int family) {
    HostSocket made(platform::socket(family, SOCK_STREAM, IPPROTO_TCP));
    if (made.handle() == INVALID_SOCKET) {
        throw std::runtime_error("no socket: " + std::to_string(platform::WSAGetLastError()));
    }
    setTimeouts(made.handle());
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
    const sockaddr_in address = loopbackAddress(0);
    return platform::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

} // namespace

Listener::Listener(int family) : socket(makeSocket(family)) {
    if (bindLoopback(socket.handle(), family) != 0 || platform::listen(socket.handle(), 256) != 0) {
        throw std::runtime_error("can't listen: " + std::to_string(platform::WSAGetLastError()));
    }
    boundPort = portOf(socket.handle());
}

sockaddr_in loopbackAddress(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

HostSocket rawConnection(std::uint16_t port) {
    HostSocket made = makeSocket();
    connectTo(made.handle(), loopbackAddress(port));
    return made;
}

Overlapped::Overlapped() {
    state.hEvent = platform::WSACreateEvent();
}

Overlapped::~Overlapped() {
    platform::WSACloseEvent(state.hEvent);
}

bool Overlapped::wait(SOCKET socket, DWORD& transferred) {
    if (!waitForEvent(state.hEvent, timeoutMilliseconds)) {
        platform::WSASetLastError(WSAETIMEDOUT);
        return false;
    }
    DWORD flags = 0;
    return platform::WSAGetOverlappedResult(socket, &state, &transferred, FALSE, &flags) == TRUE;
}

} // namespace VexaSsl::test
