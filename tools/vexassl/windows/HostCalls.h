// The socket work of the tool's own on Windows: Winsock's own calls, under the names by which the
// tool reaches them on every system.
//
// Threads: any function, from any thread.
#pragma once

#include "VexaSsl/Sockets.h"

// Written behind "platform::" these macros would be no names.
#undef WSA_INFINITE
#undef WSA_WAIT_EVENT_0
#undef WSA_WAIT_FAILED
#undef WSA_WAIT_TIMEOUT

// What the core needs of the system, for those parts of the tool that see the core.
namespace VexaSsl::platform {}

namespace VexaSsl::tool {

namespace platform {

using namespace VexaSsl::platform;

using ::bind;
using ::closesocket;
using ::freeaddrinfo;
using ::listen;
using ::shutdown;
using ::socket;
using ::WSACloseEvent;
using ::WSACreateEvent;
using ::WSAGetLastError;
using ::WSAGetOverlappedResult;
using ::WSAResetEvent;
using ::WSASetEvent;
using ::WSASetLastError;
using ::WSAWaitForMultipleEvents;

inline constexpr DWORD WSA_INFINITE = INFINITE;
inline constexpr DWORD WSA_WAIT_EVENT_0 = WAIT_OBJECT_0;
inline constexpr DWORD WSA_WAIT_FAILED = WAIT_FAILED;
inline constexpr DWORD WSA_WAIT_TIMEOUT = WAIT_TIMEOUT;

inline void socketSetAdd(SOCKET s, fd_set& set) {
    FD_SET(s, &set);
}

} // namespace platform

// What the system's own calls (getsockname, getpeername) take.
inline SOCKET nativeSocket(SOCKET s) {
    return s;
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
