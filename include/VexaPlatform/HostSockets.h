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
// Gives the socket an address of this machine. Result: 0, or SOCKET_ERROR (WSAEADDRINUSE,
// WSAEACCES, WSAEINVAL, ...).
int bind(SOCKET s, const sockaddr* name, int namelen);
// Lets clients wait to be accepted, about backlog of them. Result: 0, or SOCKET_ERROR.
int listen(SOCKET s, int backlog);
// Ends one direction or both: SD_RECEIVE, SD_SEND, SD_BOTH. Result: 0, or SOCKET_ERROR
// (WSAENOTCONN, ...).
int shutdown(SOCKET s, int how);
// Gives the socket back; what is still posted on it ends with WSA_OPERATION_ABORTED. Result: 0, or
// SOCKET_ERROR (WSAENOTSOCK).
int closesocket(SOCKET s);

// --- The thread's last error.

// Result: the Winsock number that this thread's last failing operation left. A success leaves it.
int WSAGetLastError();
// Writes it.
void WSASetLastError(int error);

// --- Address lists from ISocketStrategy::getaddrinfo and GetAddrInfoW. Null is harmless.

// Frees a whole list from getaddrinfo.
void freeaddrinfo(addrinfo* list);
// Frees a whole list from GetAddrInfoW.
void FreeAddrInfoW(ADDRINFOW* list);

// --- Sets of sockets for ISocketStrategy::select.

// Empties the set (FD_ZERO).
void socketSetClear(fd_set& set);
// A full set and a socket that is already in it are left as they are, as with FD_SET.
void socketSetAdd(SOCKET s, fd_set& set);
// Takes the socket out, if it is in (FD_CLR).
void socketSetRemove(SOCKET s, fd_set& set);
// Whether it is in (FD_ISSET).
bool socketSetHas(SOCKET s, const fd_set& set);

// --- Events (manual reset, as WSACreateEvent makes them) and waiting.

inline constexpr DWORD INFINITE = 0xFFFFFFFF;         // milliseconds: for ever
inline constexpr DWORD WSA_INFINITE = INFINITE;       // the same
inline constexpr DWORD WSA_WAIT_EVENT_0 = 0;          // the first event of those waited for
inline constexpr DWORD WSA_WAIT_IO_COMPLETION = 0xC0; // a completion routine ran
inline constexpr DWORD WSA_WAIT_TIMEOUT = 258;        // time is up
inline constexpr DWORD WSA_WAIT_FAILED = 0xFFFFFFFF;  // the last error tells why
inline constexpr DWORD WSA_MAXIMUM_WAIT_EVENTS = 64;  // in one wait

// Result: a new event, not set, owned by the caller; null when out of memory.
HANDLE WSACreateEvent();
// Gives the event back; no operation that carries it may be under way. Result: TRUE, or FALSE
// (WSA_INVALID_HANDLE).
BOOL WSACloseEvent(HANDLE event);
// Ends the waits for it, until it is reset. Result: as above.
BOOL WSASetEvent(HANDLE event);
// Makes waits wait again. Result: as above.
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

inline constexpr HANDLE noHandle = nullptr; // no port
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
// Puts a completion of the host's own into the port, to be taken as it is. Result: TRUE, or FALSE
// (WSA_INVALID_HANDLE, WSA_NOT_ENOUGH_MEMORY).
BOOL PostQueuedCompletionStatus(HANDLE port, DWORD transferred, ULONG_PTR completionKey,
                                OVERLAPPED* overlapped);

// Closes a port.
BOOL CloseHandle(HANDLE port);

} // namespace VexaSsl::platform
