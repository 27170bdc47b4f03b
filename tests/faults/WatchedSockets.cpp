// The watched socket calls.
#include "faults/WatchedCall.h"

#include "platform/contract/Winsock.h"

namespace VexaSsl::watched {

int send(SOCKET s, const char* buf, int len, int flags) {
    return watched(Call::send, [&] { return platform::send(s, buf, len, flags); });
}

int recv(SOCKET s, char* buf, int len, int flags) {
    return watched(Call::recv, [&] { return platform::recv(s, buf, len, flags); });
}

int connect(SOCKET s, const sockaddr* name, int namelen) {
    return watched(Call::connect, [&] { return platform::connect(s, name, namelen); });
}

SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) {
    const SOCKET accepted =
        watched(Call::accept, [&] { return platform::accept(s, addr, addrlen); });
    if (Watch* const watch = Watch::ofThisThread()) {
        watch->accepted = accepted;
    }
    return accepted;
}

int select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds, const timeval* timeout) {
    return watched(Call::select,
                   [&] { return platform::select(nfds, readfds, writefds, exceptfds, timeout); });
}

int getaddrinfo(const char* nodename, const char* servname, const addrinfo* hints, addrinfo** res) {
    return watched(Call::getaddrinfo,
                   [&] { return platform::getaddrinfo(nodename, servname, hints, res); });
}

int GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename, const ADDRINFOW* hints,
                 ADDRINFOW** result) {
    return watched(Call::GetAddrInfoW,
                   [&] { return platform::GetAddrInfoW(nodename, servicename, hints, result); });
}

BOOL AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer, DWORD receiveDataLength,
              DWORD localAddressLength, DWORD remoteAddressLength, DWORD* bytesReceived,
              OVERLAPPED* overlapped) {
    return watched(Call::AcceptEx, [&] {
        return platform::AcceptEx(listenSocket, acceptSocket, outputBuffer, receiveDataLength,
                                  localAddressLength, remoteAddressLength, bytesReceived,
                                  overlapped);
    });
}

SOCKET WSAAccept(SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                 DWORD_PTR callbackData) {
    const SOCKET accepted = watched(Call::WSAAccept, [&] {
        return platform::WSAAccept(s, addr, addrlen, condition, callbackData);
    });
    if (Watch* const watch = Watch::ofThisThread()) {
        watch->accepted = accepted;
    }
    return accepted;
}

int WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent, DWORD flags,
            WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    return watched(Call::WSASend, [&] {
        return platform::WSASend(s, buffers, bufferCount, bytesSent, flags, overlapped,
                                 completionRoutine);
    });
}

int WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived, DWORD* flags,
            WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    return watched(Call::WSARecv, [&] {
        return platform::WSARecv(s, buffers, bufferCount, bytesReceived, flags, overlapped,
                                 completionRoutine);
    });
}

int WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData, WSABUF* calleeData,
               QOS* sqos, QOS* gqos) {
    return watched(Call::WSAConnect, [&] {
        return platform::WSAConnect(s, name, namelen, callerData, calleeData, sqos, gqos);
    });
}

// A failing call shuts the socket down nevertheless, so that the peer sees the end.
int shutdown(SOCKET s, int how) {
    return watched(Call::shutdown, [&] { return platform::shutdown(s, how); });
}

int GetNameInfoW(const sockaddr* address, int addressLength, wchar_t* node, DWORD nodeLength,
                 wchar_t* service, DWORD serviceLength, int flags) {
    return watched(Call::GetNameInfoW, [&] {
        return platform::GetNameInfoW(address, addressLength, node, nodeLength, service,
                                      serviceLength, flags);
    });
}

int __WSAFDIsSet(SOCKET s, fd_set* set) {
    return platform::__WSAFDIsSet(s, set);
}

void WSASetLastError(int error) {
    platform::WSASetLastError(error);
}

int WSAGetLastError() {
    return platform::WSAGetLastError();
}

} // namespace VexaSsl::watched
