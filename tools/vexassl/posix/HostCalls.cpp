#include "HostCalls.h"

namespace VexaSsl::tool {

bool takeOverPort(SOCKET listener) {
    const int yes = 1;
    return ::setsockopt(nativeSocket(listener), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0;
}

// It is one already.
bool joinListener(SOCKET, SOCKET) {
    return true;
}

void endTraffic(SOCKET s) {
    platform::shutdown(s, SD_BOTH);
}

} // namespace VexaSsl::tool
