#include "integration/stack/SplittingStrategy.h"

#include <algorithm>
#include <utility>

namespace VexaSsl::test {

SplittingStrategy::SplittingStrategy(std::unique_ptr<ISocketStrategy> underlyingStrategy,
                                     const Splitting& splitting, Passage* passage)
    : underlying(std::move(underlyingStrategy)), rules(splitting),
      counts(passage == nullptr ? &own : passage) {}

// Returns how many of the requested bytes one read may return now.
int SplittingStrategy::readable(std::size_t wanted) const {
    if (counts->read < rules.quietFor) {
        return static_cast<int>(wanted);
    }
    std::size_t allowed = std::min(wanted, static_cast<std::size_t>(rules.mostPerRead));
    if (counts->read < rules.readCut) {
        allowed = std::min(allowed, rules.readCut - counts->read);
    }
    return static_cast<int>(allowed);
}

int SplittingStrategy::send(SOCKET s, const char* buf, int len, int flags) {
    const int sent = underlying->send(s, buf, std::min(len, rules.mostPerWrite), flags);
    if (sent > 0) {
        counts->written += static_cast<std::size_t>(sent);
    }
    return sent;
}

int SplittingStrategy::recv(SOCKET s, char* buf, int len, int flags) {
    const int got = underlying->recv(s, buf, readable(static_cast<std::size_t>(len)), flags);
    if (got > 0) {
        counts->read += static_cast<std::size_t>(got);
    }
    return got;
}

int SplittingStrategy::connect(SOCKET s, const sockaddr* name, int namelen) {
    return underlying->connect(s, name, namelen);
}

SOCKET SplittingStrategy::accept(SOCKET s, sockaddr* addr, int* addrlen) {
    return underlying->accept(s, addr, addrlen);
}

int SplittingStrategy::select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
                              const timeval* timeout) {
    return underlying->select(nfds, readfds, writefds, exceptfds, timeout);
}

int SplittingStrategy::getaddrinfo(const char* nodename, const char* servname,
                                   const addrinfo* hints, addrinfo** res) {
    return underlying->getaddrinfo(nodename, servname, hints, res);
}

int SplittingStrategy::GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename,
                                    const ADDRINFOW* hints, ADDRINFOW** result) {
    return underlying->GetAddrInfoW(nodename, servicename, hints, result);
}

BOOL SplittingStrategy::AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer,
                                 DWORD receiveDataLength, DWORD localAddressLength,
                                 DWORD remoteAddressLength, DWORD* bytesReceived,
                                 OVERLAPPED* overlapped) {
    return underlying->AcceptEx(listenSocket, acceptSocket, outputBuffer, receiveDataLength,
                                localAddressLength, remoteAddressLength, bytesReceived, overlapped);
}

int SplittingStrategy::completeAcceptEx() {
    return underlying->completeAcceptEx();
}

SOCKET SplittingStrategy::WSAAccept(SOCKET s, sockaddr* addr, int* addrlen,
                                    LPCONDITIONPROC condition, DWORD_PTR callbackData) {
    return underlying->WSAAccept(s, addr, addrlen, condition, callbackData);
}

int SplittingStrategy::WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent,
                               DWORD flags, WSAOVERLAPPED* overlapped,
                               LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    return underlying->WSASend(s, buffers, bufferCount, bytesSent, flags, overlapped,
                               completionRoutine);
}

int SplittingStrategy::WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived,
                               DWORD* flags, WSAOVERLAPPED* overlapped,
                               LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    if (bufferCount == 0) {
        return underlying->WSARecv(s, buffers, 0, bytesReceived, flags, overlapped,
                                   completionRoutine);
    }
    WSABUF first = buffers[0];
    first.len = static_cast<ULONG>(readable(first.len));
    return underlying->WSARecv(s, &first, 1, bytesReceived, flags, overlapped, completionRoutine);
}

int SplittingStrategy::completeWSARecv(int status, DWORD* bytesTransferred, void* context) {
    return underlying->completeWSARecv(status, bytesTransferred, context);
}

int SplittingStrategy::WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData,
                                  WSABUF* calleeData, QOS* sqos, QOS* gqos) {
    return underlying->WSAConnect(s, name, namelen, callerData, calleeData, sqos, gqos);
}

} // namespace VexaSsl::test
