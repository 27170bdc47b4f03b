// The tool's own socket work on Windows: Winsock's calls under the names that the tool uses on
// every system.
//
// Threads: any function, from any thread.
#pragma once

#include "VexaSsl/Sockets.h"
#include "common/SocketSetup.h" // IWYU pragma: export

// These macros can't be qualified with "platform::".
#undef INFINITE
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
using ::CloseHandle;
using ::closesocket;
using ::CreateIoCompletionPort;
using ::freeaddrinfo;
using ::GetQueuedCompletionStatus;
using ::listen;
using ::PostQueuedCompletionStatus;
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

inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD WSA_INFINITE = INFINITE;
inline constexpr DWORD WSA_WAIT_EVENT_0 = WAIT_OBJECT_0;
inline constexpr DWORD WSA_WAIT_FAILED = WAIT_FAILED;
inline constexpr DWORD WSA_WAIT_TIMEOUT = WAIT_TIMEOUT;

inline constexpr HANDLE noHandle = nullptr;
inline HANDLE invalidHandle() {
    return INVALID_HANDLE_VALUE;
}
inline HANDLE socketHandle(SOCKET s) {
    return reinterpret_cast<HANDLE>(s);
}

inline void socketSetAdd(SOCKET s, fd_set& set) {
    FD_SET(s, &set);
}

} // namespace platform

// Returns what the system's calls (getsockname, getpeername) take.
inline SOCKET nativeSocket(SOCKET s) {
    return s;
}

} // namespace VexaSsl::tool
