#include "strategies/LogSocketStrategy.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl {

namespace {

constexpr std::size_t longestNumber = 20; // digits of a 64-bit number, or its sign and digits
// The words and numbers of the longest line.
constexpr std::size_t roomBesideLabel =
    sizeof " using socket [] to WSARecv [] byte message" + 2 * longestNumber;

template <typename Number>
void appendNumber(std::wstring& line, Number number) {
    std::array<char, longestNumber> digits;
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    std::copy(digits.data(), written.ptr, std::back_inserter(line));
}

} // namespace

LogSocketStrategy::LogSocketStrategy(ILog& logSink, std::unique_ptr<ISocketStrategy> underlying,
                                     const std::wstring& layerLabel)
    : log(logSink), underlyingStrategy(std::move(underlying)), label(layerLabel) {}

// The line is made in full each time: a log can't be asked for its threshold. So it is made in one
// piece of memory, and the numbers without the standard library's formatting of wide text.
void LogSocketStrategy::logTransfer(const wchar_t* verb, SOCKET s, const wchar_t* operation,
                                    std::int64_t size) {
    std::wstring line;
    line.reserve(label.size() + roomBesideLabel);
    line.append(label).append(L" ").append(verb).append(L" socket [");
    appendNumber(line, s);
    line.append(L"] to ").append(operation).append(L" [");
    appendNumber(line, size);
    line.append(L"] byte message");
    log.log(Severity::Debug, line);
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
    ULONG total = 0; // wraps round in silence
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
    // How much will come is told with the completion, which doesn't name the socket.
    receiveSocket = s;
    return underlyingStrategy->WSARecv(s, buffers, bufferCount, bytesReceived, flags, overlapped,
                                       completionRoutine);
}

int LogSocketStrategy::completeWSARecv(int status, DWORD* bytesTransferred,
                                       void* context) noexcept {
    // "used": the others announce, this one has happened.
    logTransfer(L"used", receiveSocket, L"WSARecv", *bytesTransferred);
    return underlyingStrategy->completeWSARecv(status, bytesTransferred, context);
}

int LogSocketStrategy::WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData,
                                  WSABUF* calleeData, QOS* sqos, QOS* gqos) noexcept {
    return underlyingStrategy->WSAConnect(s, name, namelen, callerData, calleeData, sqos, gqos);
}

} // namespace VexaSsl
