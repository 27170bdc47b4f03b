#include "integration/support/HostSocket.h"
#include "integration/support/System.h"

#include <array>
#include <cstdlib>

namespace VexaSsl::test {

namespace {

// Starts Winsock for the lifetime of the process, as a host does.
class WinsockInUse {
public:
    WinsockInUse() {
        WSADATA ignored{};
        if (WSAStartup(MAKEWORD(2, 2), &ignored) != 0) {
            std::abort();
        }
    }
    ~WinsockInUse() { WSACleanup(); }
    WinsockInUse(const WinsockInUse&) = delete;
    WinsockInUse& operator=(const WinsockInUse&) = delete;
};

const WinsockInUse winsock;

template <typename Value>
void setOption(SOCKET socket, int level, int option, const Value& value) {
    ::setsockopt(socket, level, option, reinterpret_cast<const char*>(&value), sizeof value);
}

} // namespace

void setTimeouts(SOCKET socket, int seconds) {
    const DWORD milliseconds = 1000U * static_cast<DWORD>(seconds);
    setOption(socket, SOL_SOCKET, SO_RCVTIMEO, milliseconds);
    setOption(socket, SOL_SOCKET, SO_SNDTIMEO, milliseconds);
    setOption(socket, IPPROTO_TCP, TCP_NODELAY, DWORD{1});
}

int sendBytes(SOCKET socket, std::string_view bytes) {
    return ::send(socket, bytes.data(), static_cast<int>(bytes.size()), 0);
}

int receiveBytes(SOCKET socket, char* buffer, std::size_t size) {
    return ::recv(socket, buffer, static_cast<int>(size), 0);
}

bool connectTo(SOCKET socket, const sockaddr_in& address) {
    return ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

SOCKET acceptFrom(SOCKET listener) {
    return ::accept(listener, nullptr, nullptr);
}

std::uint16_t portOf(SOCKET socket) {
    sockaddr_in6 address{}; // the port has the same offset in both families
    int length = sizeof address;
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin6_port);
}

// Without it shutdown and getpeername fail on the accepted socket.
void joinListener(SOCKET accepted, SOCKET listener) {
    setOption(accepted, SOL_SOCKET, SO_UPDATE_ACCEPT_CONTEXT, listener);
}

void resetAtClose(SOCKET socket) {
    setOption(socket, SOL_SOCKET, SO_LINGER, linger{1, 0});
}

bool isShutForSending(SOCKET socket) {
    return sendBytes(socket, "x") == SOCKET_ERROR && WSAGetLastError() == WSAESHUTDOWN;
}

unsigned waitReadable(const std::vector<SOCKET>& sockets, int milliseconds) {
    fd_set set{};
    for (const SOCKET socket : sockets) {
        if (socket != INVALID_SOCKET) {
            FD_SET(socket, &set);
        }
    }
    timeval limit{milliseconds / 1000, 1000 * (milliseconds % 1000)};
    unsigned readable = 0;
    if (::select(0, &set, nullptr, nullptr, &limit) > 0) {
        for (std::size_t i = 0; i < sockets.size(); ++i) {
            readable |= FD_ISSET(sockets[i], &set) ? 1U << i : 0U;
        }
    }
    return readable;
}

bool waitForEvent(HANDLE event, DWORD milliseconds) {
    return WSAWaitForMultipleEvents(1, &event, FALSE, milliseconds, FALSE) == WSA_WAIT_EVENT_0;
}

// Windows doesn't report what has been acknowledged.
void waitUntilReceived(SOCKET) {
    Sleep(1);
}

} // namespace VexaSsl::test
