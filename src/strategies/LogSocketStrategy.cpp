#include "strategies/LogSocketStrategy.h"

#include "frame/DecimalText.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl {

LogSocketStrategy::LogSocketStrategy(ILog& log, std::unique_ptr<ISocketStrategy> underlyingStrategy,
                                     const std::wstring& label)
    : log(log), underlyingStrategy(std::move(underlyingStrategy)), label(label) {}

// The line is built whatever the log's threshold, which can't be queried. The sizes are those that
// the caller gave. Compatibility: log-counts-what-was-asked
void LogSocketStrategy::logTransfer(const wchar_t* verb, SOCKET s, const wchar_t* operation,
                                    std::int64_t size) {
    log.log(Severity::Debug, joined({label, L" ", verb, L" socket [", DecimalText(s), L"] to ",
                                     operation, L" [", DecimalText(size), L"] byte message"}));
}

int LogSocketStrategy::send(SOCKET s, const char* buf, int len, int flags) noexcept {
    logTransfer(L"using", s, L"send", len);
    return underlyingStrategy->send(s, buf, len, flags);
}

int LogSocketStrategy::recv(SOCKET s, char* buf, int len, int flags) noexcept {
    logTransfer(L"using", s, L"recv", len);
    return underlyingStrategy->recv(s, buf, len, flags);
}

int LogSocketStrategy::connect(SOCKET s, const sockaddr* name, int namelen) noexcept {
    return underlyingStrategy->connect(s, name, namelen);
}

SOCKET LogSocketStrategy::accept(SOCKET s, sockaddr* addr, int* addrlen) noexcept {
    return underlyingStrategy->accept(s, addr, addrlen);
}

int LogSocketStrategy::select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
                              const timeval* timeout) noexcept {
    return underlyingStrategy->select(nfds, readfds, writefds, exceptfds, timeout);
}

int LogSocketStrategy::getaddrinfo(const char* nodename, const char* servname,
                                   const addrinfo* hints, addrinfo** res) noexcept {
    return underlyingStrategy->getaddrinfo(nodename, servname, hints, res);
}

int LogSocketStrategy::GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename,
                                    const ADDRINFOW* hints, ADDRINFOW** result) noexcept {
    return underlyingStrategy->GetAddrInfoW(nodename, servicename, hints, result);
}

BOOL LogSocketStrategy::AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer,
                                 DWORD receiveDataLength, DWORD localAddressLength,
                                 DWORD remoteAddressLength, DWORD* bytesReceived,
                                 OVERLAPPED* overlapped) noexcept {
    return underlyingStrategy->AcceptEx(listenSocket, acceptSocket, outputBuffer, receiveDataLength,
                                        localAddressLength, remoteAddressLength, bytesReceived,
                                        overlapped);
}

int LogSocketStrategy::completeAcceptEx() noexcept {
    return underlyingStrategy->completeAcceptEx();
}

SOCKET LogSocketStrategy::WSAAccept(SOCKET s, sockaddr* addr, int* addrlen,
                                    LPCONDITIONPROC condition, DWORD_PTR callbackData) noexcept {
    return underlyingStrategy->WSAAccept(s, addr, addrlen, condition, callbackData);
}

int LogSocketStrategy::WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent,
                               DWORD flags, WSAOVERLAPPED* overlapped,
                               LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) noexcept {
    const std::vector<WSABUF> pieces(buffers, buffers + bufferCount);
    ULONG total = 0; // wraps
    for (const WSABUF& piece : pieces) {
        total += piece.len;
    }
    logTransfer(L"using", s, L"WSASend", total);
    return underlyingStrategy->WSASend(s, buffers, bufferCount, bytesSent, flags, overlapped,
                                       completionRoutine);
}

int LogSocketStrategy::WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived,
                               DWORD* flags, WSAOVERLAPPED* overlapped,
                               LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) noexcept {
    // Logged at the completion, which has the size but not the socket.
    receiveSocket = s;
    return underlyingStrategy->WSARecv(s, buffers, bufferCount, bytesReceived, flags, overlapped,
                                       completionRoutine);
}

int LogSocketStrategy::completeWSARecv(int status, DWORD* bytesTransferred,
                                       void* context) noexcept {
    // "used", since it has happened.
    logTransfer(L"used", receiveSocket, L"WSARecv", *bytesTransferred);
    return underlyingStrategy->completeWSARecv(status, bytesTransferred, context);
}

int LogSocketStrategy::WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData,
                                  WSABUF* calleeData, QOS* sqos, QOS* gqos) noexcept {
    return underlyingStrategy->WSAConnect(s, name, namelen, callerData, calleeData, sqos, gqos);
}

IConnectionInfo* LogSocketStrategy::infoBelow() const {
    return dynamic_cast<IConnectionInfo*>(underlyingStrategy.get());
}

ConnectionInfo LogSocketStrategy::connectionInfo() const {
    const IConnectionInfo* const info = infoBelow();
    return info == nullptr ? ConnectionInfo() : info->connectionInfo();
}

ConnectionFailure LogSocketStrategy::lastFailure() const {
    const IConnectionInfo* const info = infoBelow();
    return info == nullptr ? ConnectionFailure() : info->lastFailure();
}

int LogSocketStrategy::heldBytes() noexcept {
    IConnectionInfo* const info = infoBelow();
    return info == nullptr ? 0 : info->heldBytes();
}

} // namespace VexaSsl
