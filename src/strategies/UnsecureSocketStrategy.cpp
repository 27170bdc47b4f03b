#include "strategies/UnsecureSocketStrategy.h"

#include "platform/contract/Winsock.h"

namespace VexaSsl {

UnsecureSocketStrategy::UnsecureSocketStrategy(ILog& log) : log(log) {}

int UnsecureSocketStrategy::send(SOCKET s, const char* buf, int len, int flags) noexcept {
    return platform::send(s, buf, len, flags);
}

int UnsecureSocketStrategy::recv(SOCKET s, char* buf, int len, int flags) noexcept {
    return platform::recv(s, buf, len, flags);
}

int UnsecureSocketStrategy::connect(SOCKET s, const sockaddr* name, int namelen) noexcept {
    return platform::connect(s, name, namelen);
}

SOCKET UnsecureSocketStrategy::accept(SOCKET s, sockaddr* addr, int* addrlen) noexcept {
    return platform::accept(s, addr, addrlen);
}

int UnsecureSocketStrategy::select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
                                   const timeval* timeout) noexcept {
    return platform::select(nfds, readfds, writefds, exceptfds, timeout);
}

int UnsecureSocketStrategy::getaddrinfo(const char* nodename, const char* servname,
                                        const addrinfo* hints, addrinfo** res) noexcept {
    return platform::getaddrinfo(nodename, servname, hints, res);
}

int UnsecureSocketStrategy::GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename,
                                         const ADDRINFOW* hints, ADDRINFOW** result) noexcept {
    return platform::GetAddrInfoW(nodename, servicename, hints, result);
}

BOOL UnsecureSocketStrategy::AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer,
                                      DWORD receiveDataLength, DWORD localAddressLength,
                                      DWORD remoteAddressLength, DWORD* bytesReceived,
                                      OVERLAPPED* overlapped) noexcept {
    return platform::AcceptEx(listenSocket, acceptSocket, outputBuffer, receiveDataLength,
                              localAddressLength, remoteAddressLength, bytesReceived, overlapped);
}

int UnsecureSocketStrategy::completeAcceptEx() noexcept {
    return 0;
}

SOCKET UnsecureSocketStrategy::WSAAccept(SOCKET s, sockaddr* addr, int* addrlen,
                                         LPCONDITIONPROC condition,
                                         DWORD_PTR callbackData) noexcept {
    return platform::WSAAccept(s, addr, addrlen, condition, callbackData);
}

int UnsecureSocketStrategy::WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent,
                                    DWORD flags, WSAOVERLAPPED* overlapped,
                                    LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) noexcept {
    return platform::WSASend(s, buffers, bufferCount, bytesSent, flags, overlapped,
                             completionRoutine);
}

int UnsecureSocketStrategy::WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount,
                                    DWORD* bytesReceived, DWORD* flags, WSAOVERLAPPED* overlapped,
                                    LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) noexcept {
    return platform::WSARecv(s, buffers, bufferCount, bytesReceived, flags, overlapped,
                             completionRoutine);
}

int UnsecureSocketStrategy::completeWSARecv(int, DWORD*, void*) noexcept {
    return 0;
}

int UnsecureSocketStrategy::WSAConnect(SOCKET s, const sockaddr* name, int namelen,
                                       WSABUF* callerData, WSABUF* calleeData, QOS* sqos,
                                       QOS* gqos) noexcept {
    return platform::WSAConnect(s, name, namelen, callerData, calleeData, sqos, gqos);
}

ConnectionInfo UnsecureSocketStrategy::connectionInfo() const {
    return {};
}

ConnectionFailure UnsecureSocketStrategy::lastFailure() const {
    return {};
}

int UnsecureSocketStrategy::heldBytes() noexcept {
    return 0;
}

} // namespace VexaSsl
