// A connection that begins in the clear and turns into a TLS connection when the host says so,
// through IOtlsProvider. Until then data passes through; from then on the data operations are those
// of SecureSocketStrategy.
//
// None of the connecting operations runs a handshake here: they note the socket and the role that
// startOtls will use. Name look-up and select are those of SecureSocketStrategy in every state.
// select needs a record as soon as its read set holds the connection's socket and doesn't test for
// one, so a host must not call it like that before startOtls has succeeded.
//
// Threads: while startOtls runs nothing else may, and no receive may be pending. Otherwise as
// SecureSocketStrategy.
#pragma once

#include "VexaSsl/IOtlsProvider.h"
#include "secure/SecureSocketStrategy.h"

#include <memory>

namespace VexaSsl {

class SometimesSecureSocketStrategy : public SecureSocketStrategy, public IOtlsProvider {
public:
    // Throws std::out_of_range("invalid configuration"), after an Error line, for one of the
    // built-in connection names: only a connection that the host has named itself can do this.
    SometimesSecureSocketStrategy(ILog& logSink, const IConfig& configuration,
                                  std::unique_ptr<ISocketStrategy> underlying);

    int startOtls() noexcept override;
    // Back to the clear: drops the record without a word to the peer. Result: 0. Nothing in the
    // library calls it.
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
    // What a connecting operation leaves behind for startOtls.
    SOCKET noteAccepted(SOCKET accepted);
    int noteConnected(SOCKET connected, int result);

    bool encrypting = false; // a record stands and the data operations go through it
    bool isServer = false;   // the role of the handshake to come
};

} // namespace VexaSsl
