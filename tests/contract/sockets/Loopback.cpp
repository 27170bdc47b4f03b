#include "contract/sockets/Loopback.h"

#include <arpa/inet.h>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <stdexcept>

namespace VexaSsl::test {

namespace {

constexpr std::chrono::seconds patience{10};
constexpr std::chrono::milliseconds moment{20};

std::atomic<int> signalsHandled{0};

void require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

} // namespace

void Socket::close() {
    if (isValid()) {
        platform::closesocket(std::exchange(handle, INVALID_SOCKET));
    }
}

Socket tcpSocket() {
    Socket socket(platform::socket(AF_INET, SOCK_STREAM, 0));
    require(socket.isValid(), "no socket");
    return socket;
}

Socket listenOnLoopback() {
    Socket socket = tcpSocket();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    require(platform::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) ==
                0,
            "no bind");
    require(platform::listen(socket.get(), 128) == 0, "no listen");
    return socket;
}

sockaddr_in addressOf(const Socket& socket) {
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    getsockname(socket.descriptor(), reinterpret_cast<sockaddr*>(&address), &length);
    return address;
}

int connectTo(const Socket& socket, const sockaddr_in& address) {
    return platform::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address),
                             sizeof(address));
}

Socket connectedTo(const Socket& listener) {
    Socket socket = tcpSocket();
    require(connectTo(socket, addressOf(listener)) == 0, "no connection");
    setReceiveTimeout(socket, patience);
    return socket;
}

Pair connectedPair() {
    const Socket listener = listenOnLoopback();
    Pair pair;
    pair.client = connectedTo(listener);
    pair.server = Socket(platform::accept(listener.get(), nullptr, nullptr));
    require(pair.server.isValid(), "no accept");
    setReceiveTimeout(pair.server, patience);
    return pair;
}

void setReceiveTimeout(const Socket& socket, std::chrono::milliseconds time) {
    timeval limit{};
    limit.tv_sec = time.count() / 1000;
    limit.tv_usec = time.count() % 1000 * 1000;
    setsockopt(socket.descriptor(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
}

void setNonBlocking(const Socket& socket) {
    fcntl(socket.descriptor(), F_SETFL, fcntl(socket.descriptor(), F_GETFL) | O_NONBLOCK);
}

void resetWhenClosed(const Socket& socket) {
    const linger atOnce{1, 0};
    setsockopt(socket.descriptor(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
}

std::size_t fillUp(const Socket& socket) {
    setNonBlocking(socket);
    const std::string block(65536, 'f');
    std::size_t total = 0;
    for (int pauses = 0; pauses < 5;) { // the peer's window opens and closes with a delay
        const int sent =
            platform::send(socket.get(), block.data(), static_cast<int>(block.size()), 0);
        if (sent > 0) {
            total += static_cast<std::size_t>(sent);
        } else {
            ++pauses;
            giveOthersTime();
        }
    }
    return total;
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

void sendDropByDrop(const Socket& socket, std::string_view text) {
    for (const char& letter : text) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        sendText(socket, {&letter, 1});
    }
}

void giveOthersTime() {
    std::this_thread::sleep_for(moment);
}

DWORD ScopedEvent::wait(DWORD milliseconds) const {
    return platform::WSAWaitForMultipleEvents(1, &handle, FALSE, milliseconds, FALSE);
}

ScopedPort::ScopedPort()
    : handle(
          platform::CreateIoCompletionPort(platform::invalidHandle(), platform::noHandle, 0, 0)) {}

bool ScopedPort::bind(const Socket& socket, ULONG_PTR key) const {
    return platform::CreateIoCompletionPort(platform::socketHandle(socket.get()), handle, key, 0) ==
           handle;
}

Dequeued dequeue(HANDLE port, DWORD milliseconds) {
    Dequeued got;
    got.result = platform::GetQueuedCompletionStatus(port, &got.transferred, &got.key,
                                                     &got.overlapped, milliseconds);
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
    const BOOL done = platform::WSAGetOverlappedResult(socket.get(), &overlapped, &count,
                                                       wait ? TRUE : FALSE, &flags);
    return done != FALSE ? 0 : platform::WSAGetLastError();
}

SignalStorm::SignalStorm() {
    struct sigaction action {};
    action.sa_handler = [](int) { ++signalsHandled; };
    sigaction(SIGUSR1, &action, nullptr); // no SA_RESTART
    signalsHandled = 0;
    sender = std::jthread([target = pthread_self()](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            pthread_kill(target, SIGUSR1);
        }
    });
}

SignalStorm::~SignalStorm() {
    sender.request_stop();
    sender.join();
}

int SignalStorm::delivered() {
    return signalsHandled;
}

} // namespace VexaSsl::test
