// A scripted strategy below: every operation is a std::function that the test sets, and the names
// of the calls are recorded in order. An unset operation fails the test.
#pragma once

#include "VexaSsl/ISocketStrategy.h"

#include <functional>
#include <string>
#include <vector>

namespace VexaSsl::test {

class ScriptedStrategy : public ISocketStrategy {
public:
    ScriptedStrategy();
    ~ScriptedStrategy() override;

    // Named on..., since a member can't have the name of the function that it implements.
    std::function<int(SOCKET, const char*, int, int)> onSend;
    std::function<int(SOCKET, char*, int, int)> onRecv;
    std::function<int(SOCKET, const sockaddr*, int)> onConnect;
    std::function<SOCKET(SOCKET, sockaddr*, int*)> onAccept;
    std::function<int(int, fd_set*, fd_set*, fd_set*, const timeval*)> onSelect;
    std::function<int(const char*, const char*, const addrinfo*, addrinfo**)> onGetaddrinfo;
    std::function<int(const wchar_t*, const wchar_t*, const ADDRINFOW*, ADDRINFOW**)>
        onGetAddrInfoW;
    std::function<BOOL(SOCKET, SOCKET, void*, DWORD, DWORD, DWORD, DWORD*, OVERLAPPED*)> onAcceptEx;
    std::function<int()> onCompleteAcceptEx;
    std::function<SOCKET(SOCKET, sockaddr*, int*, LPCONDITIONPROC, DWORD_PTR)> onWSAAccept;
    std::function<int(SOCKET, WSABUF*, DWORD, DWORD*, DWORD, WSAOVERLAPPED*,
                      LPWSAOVERLAPPED_COMPLETION_ROUTINE)>
        onWSASend;
    std::function<int(SOCKET, WSABUF*, DWORD, DWORD*, DWORD*, WSAOVERLAPPED*,
                      LPWSAOVERLAPPED_COMPLETION_ROUTINE)>
        onWSARecv;
    std::function<int(int, DWORD*, void*)> onCompleteWSARecv;
    std::function<int(SOCKET, const sockaddr*, int, WSABUF*, WSABUF*, QOS*, QOS*)> onWSAConnect;

    std::function<void()> onDestroyed;

    std::vector<std::string> calls;

    int send(SOCKET s, const char* buf, int len, int flags) override;
    int recv(SOCKET s, char* buf, int len, int flags) override;
    int connect(SOCKET s, const sockaddr* name, int namelen) override;
    SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) override;
    int select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
               const timeval* timeout) override;
    int getaddrinfo(const char* nodename, const char* servname, const addrinfo* hints,
                    addrinfo** res) override;
    int GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename, const ADDRINFOW* hints,
                     ADDRINFOW** result) override;
    BOOL AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer,
                  DWORD receiveDataLength, DWORD localAddressLength, DWORD remoteAddressLength,
                  DWORD* bytesReceived, OVERLAPPED* overlapped) override;
    int completeAcceptEx() override;
    SOCKET WSAAccept(SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                     DWORD_PTR callbackData) override;
    int WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent, DWORD flags,
                WSAOVERLAPPED* overlapped,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) override;
    int WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived, DWORD* flags,
                WSAOVERLAPPED* overlapped,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) override;
    int completeWSARecv(int status, DWORD* bytesTransferred, void* context) override;
    int WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData,
                   WSABUF* calleeData, QOS* sqos, QOS* gqos) override;

private:
    template <typename Result, typename... Arguments>
    Result play(const char* name, const std::function<Result(Arguments...)>& step,
                Arguments... arguments);
};

} // namespace VexaSsl::test
