// The strategy below, as a unit test plays it: every operation is a std::function that the test
// fills in, and every call is recorded by name in its order. An operation that the test didn't
// script fails it.
#pragma once

#include "VexaSsl/ISocketStrategy.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace VexaSsl::test {

class ScriptedStrategy : public ISocketStrategy {
public:
    // Operations under names of their own: a member can't be named like the function it plays.
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

    std::vector<std::string> calls;

    int send(SOCKET s, const char* buf, int len, int flags) override {
        return play("send", onSend, s, buf, len, flags);
    }
    int recv(SOCKET s, char* buf, int len, int flags) override {
        return play("recv", onRecv, s, buf, len, flags);
    }
    int connect(SOCKET s, const sockaddr* name, int namelen) override {
        return play("connect", onConnect, s, name, namelen);
    }
    SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) override {
        return play("accept", onAccept, s, addr, addrlen);
    }
    int select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
               const timeval* timeout) override {
        return play("select", onSelect, nfds, readfds, writefds, exceptfds, timeout);
    }
    int getaddrinfo(const char* nodename, const char* servname, const addrinfo* hints,
                    addrinfo** res) override {
        return play("getaddrinfo", onGetaddrinfo, nodename, servname, hints, res);
    }
    int GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename, const ADDRINFOW* hints,
                     ADDRINFOW** result) override {
        return play("GetAddrInfoW", onGetAddrInfoW, nodename, servicename, hints, result);
    }
    BOOL AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer,
                  DWORD receiveDataLength, DWORD localAddressLength, DWORD remoteAddressLength,
                  DWORD* bytesReceived, OVERLAPPED* overlapped) override {
        return play("AcceptEx", onAcceptEx, listenSocket, acceptSocket, outputBuffer,
                    receiveDataLength, localAddressLength, remoteAddressLength, bytesReceived,
                    overlapped);
    }
    int completeAcceptEx() override { return play("completeAcceptEx", onCompleteAcceptEx); }
    SOCKET WSAAccept(SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                     DWORD_PTR callbackData) override {
        return play("WSAAccept", onWSAAccept, s, addr, addrlen, condition, callbackData);
    }
    int WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent, DWORD flags,
                WSAOVERLAPPED* overlapped,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) override {
        return play("WSASend", onWSASend, s, buffers, bufferCount, bytesSent, flags, overlapped,
                    completionRoutine);
    }
    int WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived, DWORD* flags,
                WSAOVERLAPPED* overlapped,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) override {
        return play("WSARecv", onWSARecv, s, buffers, bufferCount, bytesReceived, flags, overlapped,
                    completionRoutine);
    }
    int completeWSARecv(int status, DWORD* bytesTransferred, void* context) override {
        return play("completeWSARecv", onCompleteWSARecv, status, bytesTransferred, context);
    }
    int WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData,
                   WSABUF* calleeData, QOS* sqos, QOS* gqos) override {
        return play("WSAConnect", onWSAConnect, s, name, namelen, callerData, calleeData, sqos,
                    gqos);
    }

private:
    template <typename Result, typename... Arguments>
    Result play(const char* name, const std::function<Result(Arguments...)>& step,
                Arguments... arguments) {
        calls.emplace_back(name);
        if (!step) {
            ADD_FAILURE() << "unexpected call of the strategy below: " << name;
            return static_cast<Result>(-1); // a failure in every operation's terms but BOOL's
        }
        return step(arguments...);
    }
};

} // namespace VexaSsl::test
