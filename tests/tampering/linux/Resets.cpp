#include "tampering/Wire.h"

#include <poll.h>
#include <sys/socket.h>

namespace VexaSsl::test {

void limitReceiving(SOCKET socket, int milliseconds) {
    const timeval limit{milliseconds / 1000, 1000L * (milliseconds % 1000)};
    ::setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

void awaitReset(SOCKET socket) {
    pollfd waiting{static_cast<int>(socket), 0, 0}; // errors are always reported
    ::poll(&waiting, 1, 1000 * timeoutSeconds);
}

} // namespace VexaSsl::test
