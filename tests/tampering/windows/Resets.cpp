#include "tampering/Wire.h"

namespace VexaSsl::test {

void limitReceiving(SOCKET socket, int milliseconds) {
    const DWORD limit = static_cast<DWORD>(milliseconds);
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&limit),
                 sizeof limit);
}

// Waits until the socket is readable, which includes the bytes before the reset.
void awaitReset(SOCKET socket) {
    waitReadable({socket}, 1000 * timeoutSeconds);
}

} // namespace VexaSsl::test
