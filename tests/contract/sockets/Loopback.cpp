#include "contract/sockets/Loopback.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace VexaSsl::test {

namespace {

constexpr std::chrono::seconds receiveTimeout{10};

void require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

} // namespace

void Socket::close() {
    if (isValid()) {
        host::closesocket(std::exchange(handle, INVALID_SOCKET));
    }
}

Socket tcpSocket() {
    Socket socket(host::socket(AF_INET, SOCK_STREAM, 0));
    require(socket.isValid(), "no socket");
    return socket;
}

Socket listenOnLoopback() {
    Socket socket = tcpSocket();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    require(host::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0,
            "no bind");
    require(host::listen(socket.get(), 128) == 0, "no listen");
    return socket;
}

int connectTo(const Socket& socket, const sockaddr_in& address) {
    return platform::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address),
                             sizeof(address));
}

Socket connectedTo(const Socket& listener) {
    Socket socket = tcpSocket();
    require(connectTo(socket, addressOf(listener)) == 0, "no connection");
    setReceiveTimeout(socket, receiveTimeout);
    return socket;
}

Pair connectedPair() {
    const Socket listener = listenOnLoopback();
    Pair pair;
    pair.client = connectedTo(listener);
    pair.server = Socket(platform::accept(listener.get(), nullptr, nullptr));
    require(pair.server.isValid(), "no accept");
    setReceiveTimeout(pair.server, receiveTimeout);
    return pair;
}

std::size_t fillUp(const Socket& socket) {
    setNonBlocking(socket);
    const std::string block(65536, 'f');
    std::size_t total = 0;
    for (int pauses = 0; pauses < 5;) { // the peer's window is updated with a delay
        const int sent =
            platform::send(socket.get(), block.data(), static_cast<int>(block.size()), 0);
        if (sent > 0) {
            total += static_cast<std::size_t>(sent);
        } else {
            ++pauses;
            yieldToOtherThreads();
        }
    }
    return total;
}

fd_set fdSetOf(std::initializer_list<const Socket*> sockets) {
    fd_set set{};
    for (const Socket* socket : sockets) {
        host::socketSetAdd(socket->get(), set);
    }
    return set;
}

void sendText(const Socket& socket, std::string_view text) {
    ASSERT_EQ(platform::send(socket.get(), text.data(), static_cast<int>(text.size()), 0),
              static_cast<int>(text.size()));
}

std::string receiveText(const Socket& socket, std::size_t size) {
    std::string text(size, '\0');
    std::size_t count = 0;
    while (count < size) {
        const int got =
            platform::recv(socket.get(), text.data() + count, static_cast<int>(size - count), 0);
        if (got <= 0) {
            break;
        }
        count += static_cast<std::size_t>(got);
    }
    text.resize(count);
    return text;
}

void sendByteByByte(const Socket& socket, std::string_view text) {
    for (const char& letter : text) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        sendText(socket, {&letter, 1});
    }
}

void yieldToOtherThreads() {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

DWORD ScopedEvent::wait(DWORD milliseconds) const {
    return host::WSAWaitForMultipleEvents(1, &handle, FALSE, milliseconds, FALSE);
}

ScopedPort::ScopedPort()
    : handle(host::CreateIoCompletionPort(host::invalidHandle(), host::noHandle, 0, 0)) {}

bool ScopedPort::bind(const Socket& socket, ULONG_PTR key) const {
    return host::CreateIoCompletionPort(host::socketHandle(socket.get()), handle, key, 0) == handle;
}

Dequeued dequeue(HANDLE port, DWORD milliseconds) {
    Dequeued got;
    got.result = host::GetQueuedCompletionStatus(port, &got.transferred, &got.key, &got.overlapped,
                                                 milliseconds);
    got.error = got.result != FALSE ? 0 : platform::WSAGetLastError();
    return got;
}

int Receive::post(const Socket& socket, LPWSAOVERLAPPED_COMPLETION_ROUTINE routine) {
    WSABUF view{static_cast<ULONG>(buffer.size()), buffer.data()};
    const int result =
        platform::WSARecv(socket.get(), &view, 1, &count, &flags, &overlapped, routine);
    return result == 0 ? 0 : platform::WSAGetLastError();
}

int Receive::finish(const Socket& socket, bool wait) {
    const BOOL done = host::WSAGetOverlappedResult(socket.get(), &overlapped, &count,
                                                   wait ? TRUE : FALSE, &flags);
    return done != FALSE ? 0 : platform::WSAGetLastError();
}

} // namespace VexaSsl::test
