// The one interface through which a host does the socket work of a connection. Where it would call
// a Winsock function it calls the operation of the same name here; what stands behind it (plain
// sockets, TLS, TLS switched on later, log layers) was decided by instantiateSocketStrategy.
//
// One object serves one connection. Making, binding, configuring, shutting down and closing sockets
// and freeing address lists stay with the host; no strategy closes a socket.
//
// Results are Winsock's: the failure value, and the code in the calling thread's last-error slot.
// No operation of the library's strategies throws.
//
// With encryption:
//   - resolve through the strategy before connecting: the name given to getaddrinfo or GetAddrInfoW
//     is the name the server's certificate must carry (a null name means "localhost"); connect
//     without one fails with WSAEINVAL before touching the network;
//   - connect, accept and completeAcceptEx run the whole handshake on the calling thread, and need
//     a blocking socket; against silent peers set a receive time-out on the socket first. A failed
//     handshake gives WSAECONNABORTED and a socket that is shut down and still to be closed;
//   - WSAAccept and WSAConnect are refused without touching the last error;
//   - WSASend works only without overlapped arguments, WSARecv only with them;
//   - calling a data operation before a handshake has succeeded is a caller's error.
//
// Threads, on one object: one sender (send, WSASend) and one receiver (recv, select, WSARecv,
// completeWSARecv) may work at once; everything else must be kept apart. Different objects are
// independent, as far as their ILog is.
#pragma once

#include "VexaSsl/Sockets.h"

namespace VexaSsl {

// The operations are deliberately not declared noexcept here although every implementation is: a
// call that reaches an abstract slot must be able to throw.
class ISocketStrategy {
public:
    virtual ~ISocketStrategy() = default;

    // Result: the bytes accepted, or SOCKET_ERROR. With encryption it is len or SOCKET_ERROR; after
    // an error part of the data may have gone out and the connection is of no more use.
    virtual int send(SOCKET s, const char* buf, int len, int flags) = 0;

    // Result: the bytes delivered, 0 at the end of the stream, or SOCKET_ERROR. With encryption
    // only msgPeek and msgWaitAll count, both together are refused (WSAEOPNOTSUPP), and the end of
    // the stream is also the peer's TLS closure, which is not told apart from a cut connection.
    virtual int recv(SOCKET s, char* buf, int len, int flags) = 0;

    // Result: 0 or SOCKET_ERROR.
    virtual int connect(SOCKET s, const sockaddr* name, int namelen) = 0;

    // Result: the new socket or INVALID_SOCKET. After a failed handshake the accepted socket is
    // shut down but its number is not returned: a host that must close it uses AcceptEx.
    virtual SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) = 0;

    // Result: the number of ready sockets, 0 on time-out, or SOCKET_ERROR. With encryption,
    // decrypted data in hand counts as readable: with the connection's socket alone in readfds and
    // no other set the result is 1 at once and the set still shows it; with other sockets or sets
    // it is counted in the result but no longer shown in readfds.
    virtual int select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
                       const timeval* timeout) = 0;

    // Resolves a name. Result: 0, or an error code. The host frees the list.
    virtual int getaddrinfo(const char* nodename, const char* servname, const addrinfo* hints,
                            addrinfo** res) = 0;
    // The same in wide text.
    virtual int GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename,
                             const ADDRINFOW* hints, ADDRINFOW** result) = 0;

    // Result: TRUE, or FALSE (WSA_IO_PENDING: not finished yet). With encryption receiveDataLength
    // must be 0.
    virtual BOOL AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer,
                          DWORD receiveDataLength, DWORD localAddressLength,
                          DWORD remoteAddressLength, DWORD* bytesReceived,
                          OVERLAPPED* overlapped) = 0;

    // To be called once an AcceptEx has completed and before the accepted socket is used; with
    // encryption it runs the server handshake. Result: 0 or SOCKET_ERROR.
    virtual int completeAcceptEx() = 0;

    // Result: the new socket or INVALID_SOCKET.
    virtual SOCKET WSAAccept(SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                             DWORD_PTR callbackData) = 0;

    // Sends from several buffers. Result: 0 or SOCKET_ERROR. With encryption only without
    // overlapped arguments.
    virtual int WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent, DWORD flags,
                        WSAOVERLAPPED* overlapped,
                        LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) = 0;
    // Posts a receive into several buffers. Result: 0, or SOCKET_ERROR (WSA_IO_PENDING: under way).
    // With encryption only with an overlapped structure; the buffers are filled by completeWSARecv,
    // not by the system, and must stay valid until then; bytesReceived and flags must not be null.
    virtual int WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived,
                        DWORD* flags, WSAOVERLAPPED* overlapped,
                        LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) = 0;

    // To be called once for each overlapped WSARecv that has completed, in the order of posting.
    // *bytesTransferred: on entry what the completion reported, on return the application bytes now
    // in the buffers. status and context may be anything. Result: 0 or a failure status (-1 or a
    // negative platform status). With encryption 0 with 0 bytes means "nothing for you yet" or the
    // end of the stream: the completion's own count of 0 tells the end.
    virtual int completeWSARecv(int status, DWORD* bytesTransferred, void* context) = 0;

    // Result: 0 or SOCKET_ERROR.
    virtual int WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData,
                           WSABUF* calleeData, QOS* sqos, QOS* gqos) = 0;
};

} // namespace VexaSsl
