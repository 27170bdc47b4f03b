// The tool's own socket work on Windows: Winsock's calls under the names that the tool uses on
// every system.
//
// Threads: any function, from any thread.
#pragma once

#include "VexaSsl/Sockets.h"

// These macros can't be qualified with "platform::".
#undef WSA_INFINITE
#undef WSA_WAIT_EVENT_0
#undef WSA_WAIT_FAILED
#undef WSA_WAIT_TIMEOUT

// The platform calls of the core, for the files of the tool that include the core.
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

// Returns what the system's calls (getsockname, getpeername) take.
inline SOCKET nativeSocket(SOCKET s) {
    return s;
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
