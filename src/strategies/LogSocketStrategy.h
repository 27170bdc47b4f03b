// A layer that writes one Debug line for each transfer, with the socket and the number of bytes,
// and forwards everything to the strategy below, which it owns. It never logs content, results or
// errors.
//
// The sizes are those given by the caller: for recv that of the buffer, for a completed receive the
// count on entry, which above an encrypting strategy is the number of encrypted bytes.
//
// If memory runs out for a line, the process ends.
//
// Threads: send, recv and WSASend are as safe as the log and the strategy below; WSARecv and
// completeWSARecv not at the same time.
#pragma once

#include "VexaSsl/IConnectionInfo.h"
#include "VexaSsl/ILog.h"
#include "VexaSsl/ISocketStrategy.h"

#include <cstdint>
#include <memory>
#include <string>

namespace VexaSsl {

class LogSocketStrategy : public ISocketStrategy, public IConnectionInfo {
public:
    LogSocketStrategy(ILog& log, std::unique_ptr<ISocketStrategy> underlyingStrategy,
                      const std::wstring& label);

    // For administration.
    ISocketStrategy& below() const noexcept { return *underlyingStrategy; }

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
    // Null if the strategy below can't be asked.
    IConnectionInfo* infoBelow() const;
    void logTransfer(const wchar_t* verb, SOCKET s, const wchar_t* operation, std::int64_t size);

    ILog& log;
    std::unique_ptr<ISocketStrategy> underlyingStrategy; // never null
    std::wstring label;
    SOCKET receiveSocket = INVALID_SOCKET; // of the last WSARecv
};

} // namespace VexaSsl
