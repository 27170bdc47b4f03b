// The tool's own socket work on a system without Winsock: what VexaPlatform offers a host, and the
// system's calls on the descriptor of a SOCKET.
//
// Threads: any function, from any thread.
#pragma once

#include "VexaPlatform/HostSockets.h" // IWYU pragma: export
#include "common/SocketSetup.h"       // IWYU pragma: export

namespace VexaSsl::tool {

// Returns the descriptor that the system's calls (getsockname, getpeername) take.
inline int nativeSocket(SOCKET s) {
    return static_cast<int>(s);
}

} // namespace VexaSsl::tool
