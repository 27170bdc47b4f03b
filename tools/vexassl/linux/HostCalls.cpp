#include "HostCalls.h"

#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>

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

void endTraffic(SOCKET s) {
    platform::shutdown(s, SD_BOTH);
}

} // namespace VexaSsl::tool
