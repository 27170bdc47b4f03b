// The interfaces between a host and the library with their fixed order of virtual operations. This
// copy is independent of the public headers and must never change: a change breaks every host.
#pragma once

#include <VexaSsl/Sockets.h>

#include <cstdint>
#include <memory>
#include <string>

namespace VexaSsl {

enum class Severity : std::int32_t { Debug = 1, Info = 2, Warning = 3, Error = 4, Fatal = 5 };

class ILog {
public:
    virtual ~ILog() = default;
    virtual void log(Severity severity, const std::wstring& text) = 0;
    virtual void setMinimumSeverity(Severity severity) = 0;
};

class IConfig {
public:
    virtual ~IConfig() = default;
    virtual std::wstring getValue(const std::wstring& key) const = 0;
    virtual void setValue(const std::wstring& key, const std::wstring& value) = 0;
};

class IOtlsProvider {
public:
    virtual ~IOtlsProvider() = default;
    virtual int startOtls() = 0;
};

class ISocketStrategy {
public:
    virtual ~ISocketStrategy() = default;
    virtual int send(SOCKET, const char*, int, int) = 0;
    virtual int recv(SOCKET, char*, int, int) = 0;
    virtual int connect(SOCKET, const sockaddr*, int) = 0;
    virtual SOCKET accept(SOCKET, sockaddr*, int*) = 0;
    virtual int select(int, fd_set*, fd_set*, fd_set*, const timeval*) = 0;
    virtual int getaddrinfo(const char*, const char*, const addrinfo*, addrinfo**) = 0;
    virtual int GetAddrInfoW(const wchar_t*, const wchar_t*, const ADDRINFOW*, ADDRINFOW**) = 0;
    virtual BOOL AcceptEx(SOCKET, SOCKET, void*, DWORD, DWORD, DWORD, DWORD*, OVERLAPPED*) = 0;
    virtual int completeAcceptEx() = 0;
    virtual SOCKET WSAAccept(SOCKET, sockaddr*, int*, LPCONDITIONPROC, DWORD_PTR) = 0;
    virtual int WSASend(SOCKET, WSABUF*, DWORD, DWORD*, DWORD, WSAOVERLAPPED*,
                        LPWSAOVERLAPPED_COMPLETION_ROUTINE) = 0;
    virtual int WSARecv(SOCKET, WSABUF*, DWORD, DWORD*, DWORD*, WSAOVERLAPPED*,
                        LPWSAOVERLAPPED_COMPLETION_ROUTINE) = 0;
    virtual int completeWSARecv(int, DWORD*, void*) = 0;
    virtual int WSAConnect(SOCKET, const sockaddr*, int, WSABUF*, WSABUF*, QOS*, QOS*) = 0;
};

std::unique_ptr<IConfig> constructDefaultSslConfiguration(ILog& log, const std::wstring& name);
std::unique_ptr<ISocketStrategy> instantiateSocketStrategy(ILog& log, const IConfig& config);

} // namespace VexaSsl
