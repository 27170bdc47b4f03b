// The calls of a host on its sockets on Windows: Winsock's, in the namespace that tests use on
// every system.
#pragma once

#include "VexaSsl/Sockets.h"

namespace VexaSsl::test {

// The result of an alertable wait after a completion routine has run.
inline constexpr DWORD endedByRoutine = WAIT_IO_COMPLETION;

namespace platform {

using ::bind;
using ::CloseHandle;
using ::closesocket;
using ::CreateIoCompletionPort;
using ::freeaddrinfo;
using ::FreeAddrInfoW;
using ::GetQueuedCompletionStatus;
using ::listen;
using ::shutdown;
using ::SleepEx;
using ::socket;
using ::WSACloseEvent;
using ::WSACreateEvent;
using ::WSAGetLastError;
using ::WSAGetOverlappedResult;
using ::WSASetLastError;

inline constexpr HANDLE noHandle = nullptr;
inline HANDLE socketHandle(SOCKET s) {
    return reinterpret_cast<HANDLE>(s);
}

inline void socketSetAdd(SOCKET s, fd_set& set) {
    FD_SET(s, &set);
}
inline bool socketSetHas(SOCKET s, fd_set& set) {
    return FD_ISSET(s, &set) != 0;
}

} // namespace platform
} // namespace VexaSsl::test
