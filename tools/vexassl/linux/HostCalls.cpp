#include "HostCalls.h"

#include <fcntl.h>
#include <linux/sockios.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <chrono>
#include <functional>
#include <thread>

namespace VexaSsl::tool {

bool takeOverPort(SOCKET listener) {
    const int yes = 1;
    return ::setsockopt(nativeSocket(listener), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0;
}

// On Linux it does already.
bool joinListener(SOCKET, SOCKET) {
    return true;
}

bool setWaiting(SOCKET s, bool waits) {
    const int flags = ::fcntl(nativeSocket(s), F_GETFL);
    return flags != -1 &&
           ::fcntl(nativeSocket(s), F_SETFL, waits ? flags & ~O_NONBLOCK : flags | O_NONBLOCK) == 0;
}

void sendAtOnce(SOCKET s) {
    const int yes = 1;
    ::setsockopt(nativeSocket(s), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
}

bool takesData(SOCKET s) {
    pollfd entry{nativeSocket(s), POLLOUT, 0};
    return ::poll(&entry, 1, 0) != 0;
}

void setSendBuffer(SOCKET s, int size) {
    ::setsockopt(nativeSocket(s), SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
}

bool waitUntilTaken(SOCKET s, const std::function<bool()>& mayWait) {
    constexpr int ownEnd = 1; // the end of our stream counts as a byte
    int unacknowledged = 0;
    while (::ioctl(nativeSocket(s), SIOCOUTQ, &unacknowledged) == 0 && unacknowledged > ownEnd) {
        tcp_info state{};
        socklen_t size = sizeof state;
        const bool isClosed =
            ::getsockopt(nativeSocket(s), IPPROTO_TCP, TCP_INFO, &state, &size) != 0 ||
            state.tcpi_state == TCP_CLOSE;
        if (isClosed || !mayWait()) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

void endTraffic(SOCKET s) {
    platform::shutdown(s, SD_BOTH);
}

} // namespace VexaSsl::tool
