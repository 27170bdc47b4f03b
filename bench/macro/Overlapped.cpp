#include "Overlapped.h"

#include <stdexcept>

namespace VexaSsl::bench {

namespace {

void require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

} // namespace

CompletionPort::CompletionPort()
    : port(platform::CreateIoCompletionPort(platform::invalidHandle(), platform::noHandle, 0, 0)) {
    require(port != platform::noHandle, "CreateIoCompletionPort");
}

CompletionPort::~CompletionPort() {
    platform::CloseHandle(port);
}

void CompletionPorts::prepare(const Terms& terms) {
    const bool areUsed = terms.receiving == Receiving::completionPort;
    client = areUsed ? std::make_unique<CompletionPort>() : nullptr;
    server = areUsed ? std::make_unique<CompletionPort>() : nullptr;
}

OverlappedReceive::OverlappedReceive(SOCKET socket, const CompletionPort* port)
    : socket(socket), port(port) {
    if (port == nullptr) {
        overlapped.hEvent = platform::WSACreateEvent();
        return;
    }
    require(platform::CreateIoCompletionPort(platform::socketHandle(socket), port->get(), 0, 0) ==
                port->get(),
            "CreateIoCompletionPort");
}

OverlappedReceive::~OverlappedReceive() {
    if (port == nullptr) {
        platform::WSACloseEvent(overlapped.hEvent);
    }
}

void OverlappedReceive::post(ISocketStrategy& stack, char* data, std::size_t size) {
    WSABUF buffer{};
    buffer.len = static_cast<ULONG>(size);
    buffer.buf = data;
    DWORD received = 0;
    DWORD flags = 0;
    const int result = stack.WSARecv(socket, &buffer, 1, &received, &flags, &overlapped, nullptr);
    require(result == 0 || platform::WSAGetLastError() == WSA_IO_PENDING, "WSARecv");
    posted = true;
}

std::size_t OverlappedReceive::finish(ISocketStrategy& stack) {
    DWORD count = wait();
    posted = false;
    require(count != 0, "the peer has closed");
    require(stack.completeWSARecv(0, &count, nullptr) == 0, "completeWSARecv");
    return count;
}

// A port may still hold the completions of connections that were closed meanwhile.
DWORD OverlappedReceive::wait() {
    constexpr BOOL waits = 1;
    DWORD count = 0;
    DWORD flags = 0;
    if (port == nullptr) {
        require(platform::WSAGetOverlappedResult(socket, &overlapped, &count, waits, &flags) != 0,
                "WSAGetOverlappedResult");
        return count;
    }
    const OVERLAPPED* completed = nullptr;
    while (completed != &overlapped) {
        ULONG_PTR key = 0;
        OVERLAPPED* found = nullptr;
        const BOOL succeeded = platform::GetQueuedCompletionStatus(port->get(), &count, &key,
                                                                   &found, platform::INFINITE);
        require(found != nullptr, "GetQueuedCompletionStatus");
        require(found != &overlapped || succeeded != 0, "overlapped receive");
        completed = found;
    }
    return count;
}

std::unique_ptr<ISocketStrategy> makePlainStack() {
    static SilentLog log;
    static const std::unique_ptr<IConfig> config = [] {
        auto made = constructDefaultSslConfiguration(log, L"benchmark");
        made->setValue(L"UseEncryption", L"False");
        return made;
    }();
    return instantiateSocketStrategy(log, *config);
}

} // namespace VexaSsl::bench
