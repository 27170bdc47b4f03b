// What a host does with sockets outside of an ISocketStrategy, on a system without Winsock: create,
// bind, listen and close a socket, read the last error, free address lists, and wait for overlapped
// operations. A failure returns the failure value and sets the error code of the calling thread.
//
// A SOCKET is a file descriptor. Everything else (setsockopt, getsockname, fcntl) is done with the
// system's own calls on static_cast<int>(socket). The values of af, type and protocol are the
// system's.
//
// Overlapped operations run without a thread of their own. AcceptEx and an overlapped WSARecv are
// tried at once; what can't finish is completed by the thread that waits for it:
//   - an operation with an event: in WSAWaitForMultipleEvents and WSAGetOverlappedResult;
//   - an operation on a socket that is bound to a port: in GetQueuedCompletionStatus;
//   - an operation with a completion routine: in an alertable wait of the thread that posted it,
//     which also runs the routine.
// An operation that succeeds at once also sets its event, queues its completion or runs its
// routine; one that fails at once does not. Receives on one socket complete in the order of
// posting. An overlapped WSASend sends everything before it returns, so it blocks while the peer
// doesn't read. An event handle whose lowest bit is set keeps the completion from the port. When a
// thread ends, operations that it has posted with a completion routine are aborted.
//
// A socket must be closed with closesocket, never with close. closesocket completes what is pending
// on the socket with WSA_OPERATION_ABORTED and never uses its buffers again. It doesn't end a
// blocking call of another thread: shut the socket down first, then join that thread.
//
// AcceptEx moves the connection into the accept socket, which keeps its number, its blocking mode
// and its timeouts, but no other option. Its output buffer has three parts in this order:
// receiveDataLength bytes for the first data, localAddressLength bytes that begin with the local
// address as a sockaddr, and remoteAddressLength bytes that begin with the peer's. The two address
// lengths must be 16 bytes larger than the address.
#pragma once

#include "VexaPlatform/WinsockShapes.h"

namespace VexaSsl::platform {

// --- Sockets. Errors are the system's, by their Winsock number, WSAENOTSOCK for what is no socket.

// Creates a socket with close-on-exec set. Returns it or INVALID_SOCKET (WSAEAFNOSUPPORT,
// WSAEMFILE, WSAEPROTONOSUPPORT, ...).
SOCKET socket(int af, int type, int protocol);
// Binds the socket to a local address. Returns 0 or SOCKET_ERROR (WSAEADDRINUSE, WSAEACCES,
// WSAEFAULT for a null name or a negative length, WSAEINVAL, ...).
int bind(SOCKET s, const sockaddr* name, int namelen);
// Listens with a queue of about backlog connections. Returns 0 or SOCKET_ERROR.
int listen(SOCKET s, int backlog);
// Shuts down one direction or both: SD_RECEIVE, SD_SEND, SD_BOTH. Returns 0 or SOCKET_ERROR
// (WSAENOTCONN, WSAEINVAL for another value, ...).
int shutdown(SOCKET s, int how);
// Closes the socket and aborts what is pending on it. Returns 0 or SOCKET_ERROR (WSAENOTSOCK).
int closesocket(SOCKET s);

// --- The error code of the calling thread.

// Returns the Winsock number of this thread's last failure. A success doesn't change it.
int WSAGetLastError();
// Sets it.
void WSASetLastError(int error);

// --- Address lists from ISocketStrategy::getaddrinfo and GetAddrInfoW. Null is allowed.

// Frees a whole list from getaddrinfo.
void freeaddrinfo(addrinfo* list);
// Frees a whole list from GetAddrInfoW.
void FreeAddrInfoW(ADDRINFOW* list);

// --- Sets of sockets for ISocketStrategy::select.

// Empties the set (FD_ZERO).
void socketSetClear(fd_set& set);
// Adds the socket (FD_SET). Does nothing if it is in the set or if the set is full.
void socketSetAdd(SOCKET s, fd_set& set);
// Removes the socket if it is in the set (FD_CLR).
void socketSetRemove(SOCKET s, fd_set& set);
// Returns whether the socket is in the set (FD_ISSET).
bool socketSetHas(SOCKET s, const fd_set& set);

// --- Events (manual reset) and waiting. Every function fails with WSA_INVALID_HANDLE for a handle
// that is no event.

inline constexpr DWORD INFINITE = 0xFFFFFFFF;         // a timeout in milliseconds: none
inline constexpr DWORD WSA_INFINITE = INFINITE;       // the same
inline constexpr DWORD WSA_WAIT_EVENT_0 = 0;          // plus the index of the event
inline constexpr DWORD WSA_WAIT_IO_COMPLETION = 0xC0; // a completion routine ran
inline constexpr DWORD WSA_WAIT_TIMEOUT = 258;        // the timeout has elapsed
inline constexpr DWORD WSA_WAIT_FAILED = 0xFFFFFFFF;  // see WSAGetLastError
inline constexpr DWORD WSA_MAXIMUM_WAIT_EVENTS = 64;  // of one wait

// Returns a new event, not set, which the caller must close; null with WSA_NOT_ENOUGH_MEMORY.
HANDLE WSACreateEvent();
// Closes the event. No pending operation may use it. Returns TRUE or FALSE.
BOOL WSACloseEvent(HANDLE event);
// Sets the event: waits for it end until it is reset. Returns TRUE or FALSE.
BOOL WSASetEvent(HANDLE event);
// Resets the event. Returns TRUE or FALSE.
BOOL WSAResetEvent(HANDLE event);

// Waits until one event, or with waitAll every event, is set, and completes pending overlapped
// operations that use one of these events. With alertable, completion routines of operations that
// this thread posted run and end the wait.
// Returns WSA_WAIT_EVENT_0 + index (+ 0 with waitAll), WSA_WAIT_IO_COMPLETION, WSA_WAIT_TIMEOUT, or
// WSA_WAIT_FAILED (WSA_INVALID_PARAMETER for a null array or a count outside of 1 to
// WSA_MAXIMUM_WAIT_EVENTS, WSA_NOT_ENOUGH_MEMORY, WSAEMFILE, ...).
DWORD WSAWaitForMultipleEvents(DWORD count, const HANDLE* events, BOOL waitAll,
                               DWORD timeoutMilliseconds, BOOL alertable);

// Sleeps. With alertable, completion routines of operations that this thread posted run and end the
// sleep. Returns 0 after the time, or WSA_WAIT_IO_COMPLETION when a routine ran.
DWORD SleepEx(DWORD milliseconds, BOOL alertable);

// Reads the result of an overlapped operation on s; with wait, completes the operation first.
// Returns TRUE and sets *transferred (bytes) and *flags, which may be null; or FALSE, with
// WSA_IO_INCOMPLETE while the operation is pending, with the error of the operation,
// WSA_INVALID_PARAMETER when it is not an operation on s, or WSAEFAULT for a null argument.
BOOL WSAGetOverlappedResult(SOCKET s, WSAOVERLAPPED* overlapped, DWORD* transferred, BOOL wait,
                            DWORD* flags);

// --- Completion ports.

inline constexpr HANDLE noHandle = nullptr; // no port
// Returns a socket as the file argument of CreateIoCompletionPort.
inline HANDLE socketHandle(SOCKET s) {
    return reinterpret_cast<HANDLE>(s);
}
// Returns the file argument that creates a port without a socket (INVALID_HANDLE_VALUE of Windows).
inline HANDLE invalidHandle() {
    return reinterpret_cast<HANDLE>(~ULONG_PTR{0});
}

// Creates a port when existingPort is noHandle, and binds the socket to the port, unless file is
// invalidHandle(). Completions on the socket carry completionKey. concurrentThreads is not used.
// Returns the port, which the caller must close once, or null (WSA_INVALID_HANDLE for what is no
// port or no socket, WSA_INVALID_PARAMETER for a socket that is bound already, WSAEMFILE, ...).
HANDLE CreateIoCompletionPort(HANDLE file, HANDLE existingPort, ULONG_PTR completionKey,
                              DWORD concurrentThreads);

// Removes one completion from the port, waiting for one if necessary. Returns
//   - TRUE, all three values set: the operation has succeeded;
//   - FALSE, *overlapped not null, all three values set: the operation has failed with the error
//   code;
//   - FALSE, *overlapped null: no completion (WSA_WAIT_TIMEOUT, WSA_INVALID_HANDLE for what is no
//     port, also when it is closed during the wait);
//   - FALSE with WSA_INVALID_PARAMETER: a null argument.
BOOL GetQueuedCompletionStatus(HANDLE port, DWORD* transferred, ULONG_PTR* completionKey,
                               OVERLAPPED** overlapped, DWORD timeoutMilliseconds);
// Adds a completion of the host's own to the port. Returns TRUE or FALSE (WSA_INVALID_HANDLE,
// WSA_NOT_ENOUGH_MEMORY). overlapped is only passed on.
BOOL PostQueuedCompletionStatus(HANDLE port, DWORD transferred, ULONG_PTR completionKey,
                                OVERLAPPED* overlapped);

// Closes a port and drops its completions. Returns TRUE or FALSE (WSA_INVALID_HANDLE).
BOOL CloseHandle(HANDLE port);

} // namespace VexaSsl::platform
