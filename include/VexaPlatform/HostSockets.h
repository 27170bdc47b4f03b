// What a host does with sockets outside of an ISocketStrategy, on a system without Winsock: make,
// bind, listen and close a socket, read the last error, free address lists, and wait for overlapped
// operations. Names, arguments and results are those of Winsock and the Windows base; failures give
// the failure value and leave a Winsock number in the calling thread's last-error slot.
//
// A SOCKET is the file descriptor, so everything else (setsockopt, getsockname, fcntl) is done with
// the system's own calls on static_cast<int>(socket). The numbers of af, type and protocol are the
// system's own.
//
// Overlapped operations. There is no thread behind them. AcceptEx and an overlapped WSARecv are
// tried at once; what can't finish is completed by the thread that waits: in
// WSAWaitForMultipleEvents and WSAGetOverlappedResult for an operation with an event, in
// GetQueuedCompletionStatus for one whose socket is bound to a port, and in an alertable wait for
// one with a completion routine (the routine runs inside that wait, on the thread that posted it).
// A socket must be closed with closesocket, never with close: closesocket completes what is pending
// on it with WSA_OPERATION_ABORTED and never touches its buffers again. It does not end a blocking
// call of another thread on the same socket: shut the socket down first, then join that thread.
//
// What succeeds at once is delivered to its event, port or routine as well; what fails at once is
// not. Receives on one socket complete in the order of posting. An overlapped WSASend sends
// everything before it returns, so it can block for as long as the peer doesn't read. An event
// handle with its lowest bit set keeps the completion from the port. A thread that ends aborts what
// it has posted with a completion routine.
//
// AcceptEx puts the connection in the place of the accept socket, which keeps its number, its
// blocking mode and its time-outs, but no other option. Its output buffer holds, one behind the
// other: receiveDataLength bytes for the first data, localAddressLength bytes that begin with the
// local address as a sockaddr, and remoteAddressLength bytes that begin with the peer's. Each
// address area must be 16 bytes larger than the address.
//
// Every function may be called from any thread.
#pragma once

#include "VexaPlatform/WinsockShapes.h"

namespace VexaSsl::platform {

// --- Sockets. close-on-exec is always set.

// Result: the socket, or INVALID_SOCKET (WSAEAFNOSUPPORT, WSAEMFILE, WSAEPROTONOSUPPORT, ...).
SOCKET socket(int af, int type, int protocol);
// Result of each: 0, or SOCKET_ERROR with the cause in the last-error slot.
int bind(SOCKET s, const sockaddr* name, int namelen);
int listen(SOCKET s, int backlog);
int shutdown(SOCKET s, int how);
int closesocket(SOCKET s);

// --- The thread's last error.

int WSAGetLastError();
void WSASetLastError(int error);

// --- Address lists from ISocketStrategy::getaddrinfo and GetAddrInfoW. Null is harmless.

void freeaddrinfo(addrinfo* list);
void FreeAddrInfoW(ADDRINFOW* list);

// --- Sets of sockets for ISocketStrategy::select.

void socketSetClear(fd_set& set);
// A full set and a socket that is already in it are left as they are, as with FD_SET.
void socketSetAdd(SOCKET s, fd_set& set);
void socketSetRemove(SOCKET s, fd_set& set);
bool socketSetHas(SOCKET s, const fd_set& set);

// --- Events (manual reset, as WSACreateEvent makes them) and waiting.

inline constexpr DWORD INFINITE = 0xFFFFFFFF; // milliseconds
inline constexpr DWORD WSA_INFINITE = INFINITE;
inline constexpr DWORD WSA_WAIT_EVENT_0 = 0;
inline constexpr DWORD WSA_WAIT_IO_COMPLETION = 0xC0;
inline constexpr DWORD WSA_WAIT_TIMEOUT = 258;
inline constexpr DWORD WSA_WAIT_FAILED = 0xFFFFFFFF;
inline constexpr DWORD WSA_MAXIMUM_WAIT_EVENTS = 64;

// Result: a new event, not set, owned by the caller; null when out of memory.
HANDLE WSACreateEvent();
BOOL WSACloseEvent(HANDLE event);
BOOL WSASetEvent(HANDLE event);
BOOL WSAResetEvent(HANDLE event);

// Waits until one event (or with waitAll every event) is set, completing pending overlapped
// operations that carry one of these events. With alertable, completion routines of operations
// that this thread posted run and end the wait.
// Result: WSA_WAIT_EVENT_0 + index, WSA_WAIT_IO_COMPLETION, WSA_WAIT_TIMEOUT or WSA_WAIT_FAILED.
DWORD WSAWaitForMultipleEvents(DWORD count, const HANDLE* events, BOOL waitAll,
                               DWORD timeoutMilliseconds, BOOL alertable);

// Sleeps; with alertable it is the wait for completion routines alone.
// Result: 0 after the time, WSA_WAIT_IO_COMPLETION when a routine ran.
DWORD SleepEx(DWORD milliseconds, BOOL alertable);

// The outcome of an overlapped operation on s. With wait, completes it first. Result TRUE with the
// byte count and flags; FALSE with WSA_IO_INCOMPLETE while it is pending (wait FALSE), or with the
// operation's own error.
BOOL WSAGetOverlappedResult(SOCKET s, WSAOVERLAPPED* overlapped, DWORD* transferred, BOOL wait,
                            DWORD* flags);

// --- Completion ports.

inline constexpr HANDLE noHandle = nullptr;
// A socket in the place of a file handle.
inline HANDLE socketHandle(SOCKET s) {
    return reinterpret_cast<HANDLE>(s);
}
// In the place of a file handle: make a port and bind no socket (INVALID_HANDLE_VALUE of Windows).
inline HANDLE invalidHandle() {
    return reinterpret_cast<HANDLE>(~ULONG_PTR{0});
}

// With invalidHandle() makes a port; else binds socketHandle(s) to existingPort (or to a new port)
// under completionKey. concurrentThreads is not used. Result: the port, or null.
HANDLE CreateIoCompletionPort(HANDLE file, HANDLE existingPort, ULONG_PTR completionKey,
                              DWORD concurrentThreads);

// Takes one completion. TRUE: a success, all out values set. FALSE with *overlapped non-null: a
// failed operation, its number in the last-error slot, out values set. FALSE with *overlapped null:
// time-out (WSA_WAIT_TIMEOUT in the last-error slot) or a bad port. An operation that completed at
// once is delivered here too, as on Windows.
BOOL GetQueuedCompletionStatus(HANDLE port, DWORD* transferred, ULONG_PTR* completionKey,
                               OVERLAPPED** overlapped, DWORD timeoutMilliseconds);
BOOL PostQueuedCompletionStatus(HANDLE port, DWORD transferred, ULONG_PTR completionKey,
                                OVERLAPPED* overlapped);

// Closes a port.
BOOL CloseHandle(HANDLE port);

} // namespace VexaSsl::platform
