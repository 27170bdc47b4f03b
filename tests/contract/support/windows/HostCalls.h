// The system's functions that a host calls in addition to the contract: those of Winsock and of
// the Windows base.
#pragma once

#include "VexaSsl/Sockets.h"

namespace VexaSsl::test {

inline constexpr unsigned int socketSetCapacity = FD_SETSIZE;

namespace host {

using ::bind;
using ::CloseHandle;
using ::closesocket;
using ::CreateIoCompletionPort;
using ::freeaddrinfo;
using ::FreeAddrInfoW;
using ::GetQueuedCompletionStatus;
using ::listen;
using ::PostQueuedCompletionStatus;
using ::SleepEx;
using ::socket;
using ::WSACloseEvent;
using ::WSACreateEvent;
using ::WSAGetOverlappedResult;
using ::WSAResetEvent;
using ::WSASetEvent;
using ::WSAWaitForMultipleEvents;

// The operations on sets are macros in Winsock.
inline void socketSetClear(fd_set& set) {
    FD_ZERO(&set);
}
inline void socketSetAdd(SOCKET s, fd_set& set) {
    FD_SET(s, &set);
}
inline void socketSetRemove(SOCKET s, fd_set& set) {
    FD_CLR(s, &set);
}
inline bool socketSetHas(SOCKET s, fd_set& set) {
    return FD_ISSET(s, &set) != 0;
}

inline constexpr HANDLE noHandle = nullptr;
inline HANDLE socketHandle(SOCKET s) {
    return reinterpret_cast<HANDLE>(s);
}
inline HANDLE invalidHandle() {
    return INVALID_HANDLE_VALUE;
}

} // namespace host
} // namespace VexaSsl::test
