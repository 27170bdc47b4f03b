#include "platform/contract/Winsock.h"

namespace VexaSsl::platform {

int send(SOCKET s, const char* buf, int len, int flags) {
    return ::send(s, buf, len, flags);
}

int recv(SOCKET s, char* buf, int len, int flags) {
    return ::recv(s, buf, len, flags);
}

int connect(SOCKET s, const sockaddr* name, int namelen) {
    return ::connect(s, name, namelen);
}

SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) {
    return ::accept(s, addr, addrlen);
}

int select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds, const timeval* timeout) {
    // Some headers declare the time without const; the call only reads it.
    return ::select(nfds, readfds, writefds, exceptfds, const_cast<timeval*>(timeout));
}

int getaddrinfo(const char* nodename, const char* servname, const addrinfo* hints, addrinfo** res) {
    return ::getaddrinfo(nodename, servname, hints, res);
}

int GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename, const ADDRINFOW* hints,
                 ADDRINFOW** result) {
    return ::GetAddrInfoW(nodename, servicename, hints, result);
}

// The function in mswsock.dll, not the one that WSAIoctl returns for a socket's provider.
BOOL AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer, DWORD receiveDataLength,
              DWORD localAddressLength, DWORD remoteAddressLength, DWORD* bytesReceived,
              OVERLAPPED* overlapped) {
    return ::AcceptEx(listenSocket, acceptSocket, outputBuffer, receiveDataLength,
                      localAddressLength, remoteAddressLength, bytesReceived, overlapped);
}

SOCKET WSAAccept(SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                 DWORD_PTR callbackData) {
    return ::WSAAccept(s, addr, addrlen, condition, callbackData);
}

int WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent, DWORD flags,
            WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    return ::WSASend(s, buffers, bufferCount, bytesSent, flags, overlapped, completionRoutine);
}

int WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived, DWORD* flags,
            WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    return ::WSARecv(s, buffers, bufferCount, bytesReceived, flags, overlapped, completionRoutine);
}

int WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData, WSABUF* calleeData,
               QOS* sqos, QOS* gqos) {
    return ::WSAConnect(s, name, namelen, callerData, calleeData, sqos, gqos);
}

int shutdown(SOCKET s, int how) {
    return ::shutdown(s, how);
}

int __WSAFDIsSet(SOCKET s, fd_set* set) {
    return ::__WSAFDIsSet(s, set);
}

void WSASetLastError(int error) {
    ::WSASetLastError(error);
}

int WSAGetLastError() {
    return ::WSAGetLastError();
}

int GetNameInfoW(const sockaddr* address, int addressLength, wchar_t* node, DWORD nodeLength,
                 wchar_t* service, DWORD serviceLength, int flags) {
    return ::GetNameInfoW(address, addressLength, node, nodeLength, service, serviceLength, flags);
}

} // namespace VexaSsl::platform
