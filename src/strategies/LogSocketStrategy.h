// A layer that tells what passes at its height of the stack and changes none of it: one Debug line
// for each transfer with the socket and the number of bytes. Never content, results or errors.
//
// The lines tell what was asked for: recv the size of the buffer offered, send the size of the
// data, and a completed receive the count that the completion brought to this layer, which above an
// encrypting strategy counts encrypted bytes.
//
// The layer handles no failure: when memory runs out while a line is made, the process ends.
//
// Threads: send, recv and WSASend are as safe as the log and the strategy below; WSARecv and
// completeWSARecv share the remembered socket and must be kept apart.
// Ownership: the log is borrowed, the strategy below owned.
#pragma once

#include "VexaSsl/ILog.h"
#include "VexaSsl/ISocketStrategy.h"

#include <cstdint>
#include <memory>
#include <string>

namespace VexaSsl {

class LogSocketStrategy : public ISocketStrategy {
public:
    LogSocketStrategy(ILog& log, std::unique_ptr<ISocketStrategy> underlyingStrategy,
                      const std::wstring& label);

    // The layer's neighbour, for administration.
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

private:
    void logTransfer(const wchar_t* verb, SOCKET s, const wchar_t* operation, std::int64_t size);

    ILog& log;
    std::unique_ptr<ISocketStrategy> underlyingStrategy; // never null
    std::wstring label;
    SOCKET receiveSocket = INVALID_SOCKET; // of the latest WSARecv
};

} // namespace VexaSsl
