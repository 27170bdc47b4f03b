// Sockets over the loopback interface: owners, connected pairs, and helpers that let a peer act
// while the test waits.
#pragma once

#include "HostCalls.h"
#include "contract/support/ContractTest.h"
#include "platform/contract/Winsock.h"

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace VexaSsl::test {

// Sole owner of a socket.
class Socket {
public:
    Socket() = default;
    explicit Socket(SOCKET value) : handle(value) {}
    Socket(Socket&& other) noexcept : handle(std::exchange(other.handle, INVALID_SOCKET)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(handle, other.handle);
        return *this;
    }
    ~Socket() { close(); }

    SOCKET get() const { return handle; }
    bool isValid() const { return handle != INVALID_SOCKET; }
    void close();

private:
    SOCKET handle = INVALID_SOCKET;
};

// The two ends of one connection. Receives on either end time out after ten seconds.
struct Pair {
    Socket client;
    Socket server;
};

inline int lastError() {
    return platform::WSAGetLastError();
}

Socket tcpSocket();
Socket listenOnLoopback();
int connectTo(const Socket& socket, const sockaddr_in& address);
Socket connectedTo(const Socket& listener);
Pair connectedPair();

// The following are defined in support/<system>/Sockets.cpp.

sockaddr_in addressOf(const Socket& socket);
// Returns whether the socket has a peer.
bool isConnected(const Socket& socket);
void setReceiveTimeout(const Socket& socket, std::chrono::milliseconds time);
void setSendTimeout(const Socket& socket, std::chrono::milliseconds time);
void setNonBlocking(const Socket& socket);
// Makes closing the socket send a reset.
void resetWhenClosed(const Socket& socket);
// The addresses that AcceptEx wrote after the first data of size dataSize, in two areas of size
// area.
struct AcceptedAddresses {
    sockaddr_in local{};
    sockaddr_in remote{};
};
AcceptedAddresses addressesIn(std::string& output, DWORD dataSize, DWORD area);
// Returns an open handle that isn't a socket, closed at the end of the process.
SOCKET openNonSocket();
// Returns how many connections the process may have at once, at most wanted.
std::size_t pairsWithinLimit(std::size_t wanted);
// Ends the accepts that other threads are blocked in. The listener is unusable afterwards.
void endAccepts(Socket& listener);
// Returns whether posting an operation that can complete at once succeeded.
bool startedReady(int posted);
// Returns whether the error is that of an operation whose socket was closed.
bool isAborted(int error);

// Sends until the buffers of both ends are full and returns the number of bytes. The socket is
// non-blocking afterwards.
std::size_t fillUp(const Socket& socket);

// A set of these sockets.
fd_set fdSetOf(std::initializer_list<const Socket*> sockets);
inline constexpr timeval tenSeconds{10, 0};

void sendText(const Socket& socket, std::string_view text);
// Returns the next size bytes, fewer at the end of the stream or after a failure.
std::string receiveText(const Socket& socket, std::size_t size);
// Sends text one byte at a time with a pause before each.
void sendByteByByte(const Socket& socket, std::string_view text);

// Sleeps long enough for another thread to reach its call. No result depends on it, only how likely
// a race is.
void yieldToOtherThreads();

// Owner of an event.
class ScopedEvent {
public:
    ScopedEvent() : handle(host::WSACreateEvent()) {}
    ScopedEvent(const ScopedEvent&) = delete;
    ScopedEvent& operator=(const ScopedEvent&) = delete;
    ~ScopedEvent() { host::WSACloseEvent(handle); }

    HANDLE get() const { return handle; }
    // Waits for this event alone.
    DWORD wait(DWORD milliseconds = 10000) const;

private:
    HANDLE handle;
};

// Owner of a completion port.
class ScopedPort {
public:
    ScopedPort();
    ScopedPort(const ScopedPort&) = delete;
    ScopedPort& operator=(const ScopedPort&) = delete;
    ~ScopedPort() { host::CloseHandle(handle); }

    HANDLE get() const { return handle; }
    bool bind(const Socket& socket, ULONG_PTR key) const;

private:
    HANDLE handle;
};

// The outcome of GetQueuedCompletionStatus.
struct Dequeued {
    BOOL result = FALSE;
    DWORD transferred = 0;
    ULONG_PTR key = 0;
    OVERLAPPED* overlapped = nullptr;
    int error = 0; // the last error after FALSE
};
Dequeued dequeue(HANDLE port, DWORD milliseconds = 10000);

// One overlapped receive with its buffer.
struct Receive {
    explicit Receive(std::size_t size, HANDLE event = nullptr) : buffer(size, '\0') {
        overlapped.hEvent = event;
    }
    Receive(const Receive&) = delete;
    Receive& operator=(const Receive&) = delete;

    // Returns 0, or the last error if WSARecv failed.
    int post(const Socket& socket, LPWSAOVERLAPPED_COMPLETION_ROUTINE routine = nullptr);
    std::string text() const { return buffer.substr(0, count); }

    OVERLAPPED overlapped{};
    std::string buffer;
    DWORD count = 0; // set by a post that completes at once and by finish
    DWORD flags = 0;

    // Returns 0, or the last error if WSAGetOverlappedResult failed.
    int finish(const Socket& socket, bool wait);
};

} // namespace VexaSsl::test
