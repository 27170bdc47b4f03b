// The tool's own socket work on a system without Winsock: what VexaPlatform offers a host, and the
// system's calls on the descriptor of a SOCKET.
//
// Threads: any function, from any thread.
#pragma once

#include "VexaPlatform/HostSockets.h" // IWYU pragma: export

namespace VexaSsl::tool {

// Returns the descriptor that the system's calls (getsockname, getpeername) take.
inline int nativeSocket(SOCKET s) {
    return static_cast<int>(s);
}

// Allows a server that just ended to be restarted on the same port. Returns false on failure, with
// the error in the last-error slot.
bool takeOverPort(SOCKET listener);

// Makes a socket that AcceptEx has connected behave like one that accept returns. Returns false on
// failure, with the error in the last-error slot.
bool joinListener(SOCKET accepted, SOCKET listener);

// Makes the socket blocking or non-blocking. Returns false on failure.
bool setWaiting(SOCKET s, bool waits);

// Shuts down both directions, which ends operations of other threads that wait for the peer.
void endTraffic(SOCKET s);

} // namespace VexaSsl::tool
