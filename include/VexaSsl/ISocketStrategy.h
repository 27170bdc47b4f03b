// The interface through which a host does the socket work of one connection: the host calls the
// operation here instead of the Winsock function of the same name. Which strategies run below it
// (plain sockets, TLS, TLS switched on later, log layers) was decided by instantiateSocketStrategy.
//
// One object serves one connection. The host itself creates, binds, configures, shuts down and
// closes sockets and frees address lists; no strategy closes a socket.
//
// Results are Winsock's. An operation that fails returns its failure value (SOCKET_ERROR,
// INVALID_SOCKET or FALSE) and sets the error code that WSAGetLastError returns on the calling
// thread. No operation of the library's strategies throws. "Encrypted" below means that
// UseEncryption is True, or that startOtls has succeeded; unencrypted operations do what Winsock
// does.
//
// Encrypted:
//   - Resolve through the strategy before connecting. The name last given to getaddrinfo or
//     GetAddrInfoW is the name that the server's certificate must have; a null name means
//     "localhost". Without a name connect fails with WSAEINVAL before it uses the network.
//   - connect, accept and completeAcceptEx run the whole handshake on the calling thread and need a
//     blocking socket. They have no timeout: against silent peers set a receive timeout on the
//     socket. A failed handshake is logged, sets WSAECONNABORTED, and leaves the socket shut down
//     but open.
//   - WSAAccept and WSAConnect always fail, without setting an error code.
//   - WSASend must have neither an overlapped structure nor a completion routine, and WSARecv must
//     have at least one of them.
//   - Before a handshake has succeeded the operations that transfer data fail with WSAENOTCONN.
//     completeWSARecv without a pending receive fails with WSAEINVAL, and so do send and recv with
//     a negative length. Each writes an Error line and changes nothing.
//   - VexaSsl/IConnectionInfo.h returns why a handshake failed, and who the peer is.
//   - A failure in the TLS layer itself is logged. It may leave the error code of an earlier call.
//
// Threads: on one object one sender (send, WSASend) and one receiver (recv, select, WSARecv,
// completeWSARecv) may work at the same time; every other operation must run alone.
#pragma once

#include "VexaSsl/Sockets.h"

namespace VexaSsl {

// The operations are not declared noexcept although every implementation in the library is: a call
// of an abstract slot must be able to throw (see VexaSsl/KelException.h).
class ISocketStrategy {
public:
    virtual ~ISocketStrategy() = default;

    // Returns the number of bytes sent, or SOCKET_ERROR. Encrypted: returns len or SOCKET_ERROR.
    // After an error part of the data may have been sent and the connection is unusable; a socket
    // that would block is such an error.
    virtual int send(SOCKET s, const char* buf, int len, int flags) = 0;

    // Returns the number of bytes received, 0 at the end of the stream, or SOCKET_ERROR. Encrypted:
    // the peer's TLS closure and its request to renegotiate are an end of the stream, too; the
    // result doesn't distinguish them from a closed connection. Bytes that the same call had
    // received before a closure or an error are not reported. A record that can't be decrypted is
    // dropped and logged. Of the flags only msgPeek and msgWaitAll have an effect; both together
    // fail with WSAEOPNOTSUPP.
    virtual int recv(SOCKET s, char* buf, int len, int flags) = 0;

    // Returns 0 or SOCKET_ERROR. Encrypted: also runs the client's handshake. A connect that is in
    // progress on a nonblocking socket is a failure, and no handshake follows.
    virtual int connect(SOCKET s, const sockaddr* name, int namelen) = 0;

    // Returns the new socket or INVALID_SOCKET. Encrypted: also runs the server's handshake. When
    // that fails the accepted socket is not returned, so the host can't close it; AcceptEx avoids
    // this.
    virtual SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) = 0;

    // Returns the number of ready sockets, 0 on timeout, or SOCKET_ERROR. Encrypted: the socket of
    // the connection counts as readable while decrypted data is held. If it is the only socket in
    // readfds and there is no other set, the result is 1 at once and readfds keeps it. Otherwise
    // the lower select may wait for the whole timeout, and then the socket is counted in the result
    // but is not in readfds. A socket that is readable may have part of a record only, so that recv
    // still blocks. With opportunistic TLS a call with the connection's socket in readfds fails
    // with WSAENOTCONN until startOtls has succeeded.
    virtual int select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
                       const timeval* timeout) = 0;

    // Resolves a name. Returns 0 and a list in *res, which the host frees, or an error code.
    // Encrypted: WSA_NOT_ENOUGH_MEMORY or -1 may also mean that the name couldn't be stored; then
    // *res is a list, too.
    virtual int getaddrinfo(const char* nodename, const char* servname, const addrinfo* hints,
                            addrinfo** res) = 0;
    // Like getaddrinfo, in wide text.
    virtual int GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename,
                             const ADDRINFOW* hints, ADDRINFOW** result) = 0;

    // Returns TRUE, or FALSE, with WSA_IO_PENDING while the accept is pending. Encrypted:
    // receiveDataLength must be 0, otherwise the call fails with WSAEINVAL.
    virtual BOOL AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer,
                          DWORD receiveDataLength, DWORD localAddressLength,
                          DWORD remoteAddressLength, DWORD* bytesReceived,
                          OVERLAPPED* overlapped) = 0;

    // Must be called once an AcceptEx has completed, before the accepted socket is used. Returns 0
    // or SOCKET_ERROR. Encrypted: runs the server's handshake.
    virtual int completeAcceptEx() = 0;

    // Returns the new socket or INVALID_SOCKET.
    virtual SOCKET WSAAccept(SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                             DWORD_PTR callbackData) = 0;

    // Sends from several buffers. Returns 0 or SOCKET_ERROR. Encrypted: overlapped arguments are
    // refused with WSAEINVAL, and errors are as with send.
    virtual int WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent, DWORD flags,
                        WSAOVERLAPPED* overlapped,
                        LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) = 0;
    // Posts a receive into several buffers. Returns 0, or SOCKET_ERROR (WSA_IO_PENDING: it is
    // pending). Encrypted: without an overlapped structure and a completion routine it fails with
    // WSAEINVAL; a completion routine alone is accepted. The buffers are filled by completeWSARecv,
    // not by the system, and must stay valid until then. bytesReceived and flags must not be null.
    virtual int WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived,
                        DWORD* flags, WSAOVERLAPPED* overlapped,
                        LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) = 0;

    // Must be called once for each overlapped WSARecv that has completed, in the order of posting,
    // before its buffers are read. *bytesTransferred is the completion's byte count on entry, and
    // on return the number of application bytes in the buffers. status and context are not used.
    // Returns 0 or a failure. Encrypted: a failure is -1 with WSAECONNRESET when the peer closed
    // the TLS connection or wants to renegotiate, or a negative SECURITY_STATUS without an error
    // code. 0 with 0 bytes means that a record is incomplete; the end of the stream is a completion
    // with a count of 0.
    virtual int completeWSARecv(int status, DWORD* bytesTransferred, void* context) = 0;

    // Returns 0 or SOCKET_ERROR.
    virtual int WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData,
                           WSABUF* calleeData, QOS* sqos, QOS* gqos) = 0;
};

} // namespace VexaSsl
