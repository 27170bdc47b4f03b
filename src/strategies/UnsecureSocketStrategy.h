// The bottom of every stack: each operation is that of the system, with the same arguments, result
// and last error. The two completion operations do nothing. There is nothing to ask about.
//
// Threads: stateless, so whatever the system allows for the socket.
#pragma once

#include "VexaSsl/IConnectionInfo.h"
#include "VexaSsl/ILog.h"
#include "VexaSsl/ISocketStrategy.h"

namespace VexaSsl {

class UnsecureSocketStrategy : public ISocketStrategy, public IConnectionInfo {
public:
    explicit UnsecureSocketStrategy(ILog& log);

    int send(SOCKET s, const char* buf, int len, int flags) noexcept override;
    int recv(SOCKET s, char* buf, int len, int flags) noexcept override;
    int connect(SOCKET s, const sockaddr* name, int namelen) noexcept override;
    SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) noexcept override;
    int select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
               const timeval* timeout) noexcept override;
    int getaddrinfo(const char* nodename, const char* servname, const addrinfo* hints,
                    addrinfo** res) noexcept override;
    int GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename, const ADDRINFOW* hints,
                     ADDRINFOW** result) noexcept override;
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

    ConnectionInfo connectionInfo() const override;
    ConnectionFailure lastFailure() const override;
    int heldBytes() noexcept override;

private:
    [[maybe_unused]] ILog& log;
};

} // namespace VexaSsl
