// Opportunistic TLS: data passes in the clear until the host calls startOtls, and from then on the
// data operations are those of SecureSocketStrategy.
//
// The connecting operations run no handshake: they store the socket and the role for startOtls.
// Name resolution and select are those of SecureSocketStrategy in every state, so select refuses a
// read set that contains the connection's socket before startOtls has succeeded.
//
// Threads: as SecureSocketStrategy; nothing else while startOtls runs, and no receive pending.
#pragma once

#include "VexaSsl/IOtlsProvider.h"
#include "secure/SecureSocketStrategy.h"

#include <memory>

namespace VexaSsl {

class SometimesSecureSocketStrategy : public SecureSocketStrategy, public IOtlsProvider {
public:
    // Throws std::out_of_range("invalid configuration"), after an Error line, if the connection has
    // a built-in name.
    SometimesSecureSocketStrategy(ILog& log, const IConfig& config,
                                  std::unique_ptr<ISocketStrategy> underlyingStrategy);

    int startOtls() noexcept override;
    // Returns to the clear and drops the record; the peer is not notified. Returns 0. The library
    // doesn't call it.
    int stopOtls() noexcept;

    int send(SOCKET s, const char* buf, int len, int flags) noexcept override;
    int recv(SOCKET s, char* buf, int len, int flags) noexcept override;
    int connect(SOCKET s, const sockaddr* name, int namelen) noexcept override;
    SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) noexcept override;
    BOOL AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer,
                  DWORD receiveDataLength, DWORD localAddressLength, DWORD remoteAddressLength,
                  DWORD* bytesReceived, OVERLAPPED* overlapped) noexcept override;
    int completeAcceptEx() noexcept override;
    SOCKET WSAAccept(SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                     DWORD_PTR callbackData) noexcept override;
    int WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent, DWORD flags,
                WSAOVERLAPPED* overlapped,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) noexcept override;
    int WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived, DWORD* flags,
                WSAOVERLAPPED* overlapped,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) noexcept override;
    int completeWSARecv(int status, DWORD* bytesTransferred, void* context) noexcept override;
    int WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData,
                   WSABUF* calleeData, QOS* sqos, QOS* gqos) noexcept override;

private:
    // Store the socket and the role for startOtls and return the result of the operation.
    SOCKET noteAccepted(SOCKET accepted);
    int noteConnected(SOCKET connected, int result);

    bool encrypting = false; // the data operations use the record
    bool isServer = false;   // the role in the next handshake
};

} // namespace VexaSsl
