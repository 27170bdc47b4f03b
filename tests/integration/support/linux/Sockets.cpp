#include "integration/support/HostSocket.h"
#include "integration/support/System.h"

#include <linux/sockios.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace VexaSsl::test {

void setTimeouts(SOCKET socket, int seconds) {
    const timeval limit{seconds, 0};
    const int descriptor = static_cast<int>(socket);
    ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    ::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    const int on = 1;
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

int sendBytes(SOCKET socket, std::string_view bytes) {
    return static_cast<int>(
        ::send(static_cast<int>(socket), bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

int receiveBytes(SOCKET socket, char* buffer, std::size_t size) {
    return static_cast<int>(::recv(static_cast<int>(socket), buffer, size, 0));
}

bool connectTo(SOCKET socket, const sockaddr_in& address) {
    return ::connect(static_cast<int>(socket), reinterpret_cast<const sockaddr*>(&address),
                     sizeof address) == 0;
}

SOCKET acceptFrom(SOCKET listener) {
    const int accepted = ::accept4(static_cast<int>(listener), nullptr, nullptr, SOCK_CLOEXEC);
    return accepted < 0 ? INVALID_SOCKET : static_cast<SOCKET>(accepted);
}

std::uint16_t portOf(SOCKET socket) {
    sockaddr_in6 address{}; // the port has the same offset in both families
    socklen_t length = sizeof address;
    ::getsockname(static_cast<int>(socket), reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin6_port);
}

// Nothing to do after the platform's AcceptEx.
void joinListener(SOCKET, SOCKET) {}

void resetAtClose(SOCKET socket) {
    const linger atOnce{1, 0};
    ::setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

bool isShutForSending(SOCKET socket) {
    return sendBytes(socket, "x") == -1 && errno == EPIPE;
}

unsigned waitReadable(const std::vector<SOCKET>& sockets, int milliseconds) {
    std::vector<pollfd> waiting;
    for (const SOCKET socket : sockets) {
        waiting.push_back({static_cast<int>(socket), POLLIN, 0}); // poll ignores -1
    }
    unsigned readable = 0;
    if (::poll(waiting.data(), waiting.size(), milliseconds) > 0) {
        for (std::size_t i = 0; i < waiting.size(); ++i) {
            readable |= waiting[i].revents != 0 ? 1U << i : 0U;
        }
    }
    return readable;
}

bool waitForEvent(HANDLE event, DWORD milliseconds) {
    return platform::WSAWaitForMultipleEvents(1, &event, FALSE, milliseconds, FALSE) ==
           platform::WSA_WAIT_EVENT_0;
}

void waitUntilReceived(SOCKET socket) {
    for (int tries = 0; tries < 1000; ++tries) {
        int unacknowledged = 0;
        if (::ioctl(static_cast<int>(socket), SIOCOUTQ, &unacknowledged) != 0 ||
            unacknowledged == 0) {
            break;
        }
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(std::chrono::microseconds(50));
}

} // namespace VexaSsl::test
