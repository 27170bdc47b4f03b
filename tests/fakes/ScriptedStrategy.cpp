#include "fakes/ScriptedStrategy.h"

#include "fakes/Secrets.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace VexaSsl::test {

ScriptedStrategy::ScriptedStrategy() = default;
ScriptedStrategy::~ScriptedStrategy() {
    if (onDestroyed) {
        onDestroyed();
    }
}

template <typename Result, typename... Arguments>
Result ScriptedStrategy::play(const char* name, const std::function<Result(Arguments...)>& step,
                              Arguments... arguments) {
    calls.emplace_back(name);
    if (!step) {
        ADD_FAILURE() << "unexpected call of the strategy below: " << name;
        return static_cast<Result>(
            -1); // the failure value of every operation but those that return BOOL
    }
    return step(arguments...);
}

int ScriptedStrategy::send(SOCKET s, const char* buf, int len, int flags) {
    if (len > 0) {
        secrets::addContent({buf, static_cast<std::size_t>(len)});
    }
    return play("send", onSend, s, buf, len, flags);
}

int ScriptedStrategy::recv(SOCKET s, char* buf, int len, int flags) {
    const int count = play("recv", onRecv, s, buf, len, flags);
    if (const int held = std::min(count, len); held > 0) { // a test may return any number
        secrets::addContent({buf, static_cast<std::size_t>(held)});
    }
    return count;
}

int ScriptedStrategy::connect(SOCKET s, const sockaddr* name, int namelen) {
    return play("connect", onConnect, s, name, namelen);
}

SOCKET ScriptedStrategy::accept(SOCKET s, sockaddr* addr, int* addrlen) {
    return play("accept", onAccept, s, addr, addrlen);
}

int ScriptedStrategy::select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
                             const timeval* timeout) {
    return play("select", onSelect, nfds, readfds, writefds, exceptfds, timeout);
}

int ScriptedStrategy::getaddrinfo(const char* nodename, const char* servname, const addrinfo* hints,
                                  addrinfo** res) {
    return play("getaddrinfo", onGetaddrinfo, nodename, servname, hints, res);
}

int ScriptedStrategy::GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename,
                                   const ADDRINFOW* hints, ADDRINFOW** result) {
    return play("GetAddrInfoW", onGetAddrInfoW, nodename, servicename, hints, result);
}

BOOL ScriptedStrategy::AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer,
                                DWORD receiveDataLength, DWORD localAddressLength,
                                DWORD remoteAddressLength, DWORD* bytesReceived,
                                OVERLAPPED* overlapped) {
    return play("AcceptEx", onAcceptEx, listenSocket, acceptSocket, outputBuffer, receiveDataLength,
                localAddressLength, remoteAddressLength, bytesReceived, overlapped);
}

int ScriptedStrategy::completeAcceptEx() {
    return play("completeAcceptEx", onCompleteAcceptEx);
}

SOCKET ScriptedStrategy::WSAAccept(SOCKET s, sockaddr* addr, int* addrlen,
                                   LPCONDITIONPROC condition, DWORD_PTR callbackData) {
    return play("WSAAccept", onWSAAccept, s, addr, addrlen, condition, callbackData);
}

int ScriptedStrategy::WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent,
                              DWORD flags, WSAOVERLAPPED* overlapped,
                              LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    return play("WSASend", onWSASend, s, buffers, bufferCount, bytesSent, flags, overlapped,
                completionRoutine);
}

int ScriptedStrategy::WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived,
                              DWORD* flags, WSAOVERLAPPED* overlapped,
                              LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    return play("WSARecv", onWSARecv, s, buffers, bufferCount, bytesReceived, flags, overlapped,
                completionRoutine);
}

int ScriptedStrategy::completeWSARecv(int status, DWORD* bytesTransferred, void* context) {
    return play("completeWSARecv", onCompleteWSARecv, status, bytesTransferred, context);
}

int ScriptedStrategy::WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData,
                                 WSABUF* calleeData, QOS* sqos, QOS* gqos) {
    return play("WSAConnect", onWSAConnect, s, name, namelen, callerData, calleeData, sqos, gqos);
}

} // namespace VexaSsl::test
