// The socket work of the tool's own, on a system without Winsock: what VexaPlatform offers a host,
// and the system's own calls on the descriptor that a SOCKET is.
//
// Threads: any function, from any thread.
#pragma once

#include "VexaPlatform/HostSockets.h" // IWYU pragma: export

namespace VexaSsl::tool {

// What the system's own calls (getsockname, getpeername) take in the place of a SOCKET.
inline int nativeSocket(SOCKET s) {
    return static_cast<int>(s);
}

// Lets a server that was just ended be started again on the same port. Result: false on failure,
// with the error in the last-error slot.
bool takeOverPort(SOCKET listener);

// Makes a socket that AcceptEx has connected like one that accept gives. Result: false on failure,
// with the error in the last-error slot.
bool joinListener(SOCKET accepted, SOCKET listener);

// Whether calls on the socket wait. Result: false on failure.
bool setWaiting(SOCKET s, bool waits);

// Ends both directions, and with them the operations of other threads that wait for the peer.
void endTraffic(SOCKET s);

} // namespace VexaSsl::tool
