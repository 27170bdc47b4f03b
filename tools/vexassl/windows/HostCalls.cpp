#include "HostCalls.h"

#include <functional>

namespace VexaSsl::tool {

// Connections that are closing don't hold the port on Windows. (SO_REUSEADDR would let any program
// of the user listen on the same port.)
bool takeOverPort(SOCKET) {
    return true;
}

bool joinListener(SOCKET accepted, SOCKET listener) {
    return ::setsockopt(accepted, SOL_SOCKET, SO_UPDATE_ACCEPT_CONTEXT,
                        reinterpret_cast<const char*>(&listener), sizeof listener) == 0;
}

bool setWaiting(SOCKET s, bool waits) {
    u_long returnsAtOnce = waits ? 0 : 1;
    return ::ioctlsocket(s, static_cast<long>(FIONBIO), &returnsAtOnce) == 0;
}

void sendAtOnce(SOCKET s) {
    const BOOL yes = TRUE;
    ::setsockopt(s, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&yes), sizeof yes);
}

bool takesData(SOCKET s) {
    fd_set writable{};
    FD_SET(s, &writable);
    timeval atOnce{};
    return ::select(0, nullptr, &writable, nullptr, &atOnce) != 0;
}

// A socket that select reports takes a whole send, whatever the size.
void setSendBuffer(SOCKET, int) {}

// Winsock doesn't report what the peer has acknowledged.
bool waitUntilTaken(SOCKET, const std::function<bool()>&) {
    return true;
}

// shutdown allows no new operation but doesn't end waiting ones.
void endTraffic(SOCKET s) {
    ::shutdown(s, SD_BOTH);
    ::CancelIoEx(reinterpret_cast<HANDLE>(s), nullptr);
}

} // namespace VexaSsl::tool
