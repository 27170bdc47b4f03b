// Sockets over the loopback interface for the contract tests: owners, connected pairs, and what a
// test needs to let a peer act while the test waits.
#pragma once

#include "HostCalls.h"
#include "contract/support/ContractTest.h"
#include "platform/contract/Winsock.h"

#include <chrono>
#include <cstdint>
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

// Two ends of one connection. Receives on either end give up after ten seconds.
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

// What each system has calls of its own for; defined in support/<system>/Sockets.cpp.

sockaddr_in addressOf(const Socket& socket);
// Whether there is a peer.
bool isConnected(const Socket& socket);
void setReceiveTimeout(const Socket& socket, std::chrono::milliseconds time);
void setSendTimeout(const Socket& socket, std::chrono::milliseconds time);
void setNonBlocking(const Socket& socket);
// So that the other end sees a reset when this one is closed.
void resetWhenClosed(const Socket& socket);
// What AcceptEx has written behind the first data of size dataSize, two areas of size area.
struct AcceptedAddresses {
    sockaddr_in local{};
    sockaddr_in remote{};
};
AcceptedAddresses addressesIn(std::string& output, DWORD dataSize, DWORD area);
// Something open that is no socket, in the place of one; closed at the end of the process.
SOCKET openButNoSocket();
// How many connections the process may have at once, at most wanted.
std::size_t affordablePairs(std::size_t wanted);
// Ends the accepts that other threads are in; the listener is of no use afterwards.
void endAccepts(Socket& listener);
// Whether an overlapped operation that finds all it needs was started well, by what its post gave.
bool startedReady(int posted);
// Whether an operation ended because its socket was closed.
bool isAborted(int error);

// Fills the way from this end until nothing more goes in; the socket is non-blocking afterwards.
std::size_t fillUp(const Socket& socket);

void sendText(const Socket& socket, std::string_view text);
// What arrives, up to size bytes or the end of the stream.
std::string receiveText(const Socket& socket, std::size_t size);
// Sends text one byte at a time with a pause before each.
void sendDropByDrop(const Socket& socket, std::string_view text);

// Long enough for another thread to get into its call; nothing depends on it but the likelihood.
void giveOthersTime();

// An event, closed at the end of its life.
class ScopedEvent {
public:
    ScopedEvent() : handle(host::WSACreateEvent()) {}
    ScopedEvent(const ScopedEvent&) = delete;
    ScopedEvent& operator=(const ScopedEvent&) = delete;
    ~ScopedEvent() { host::WSACloseEvent(handle); }

    HANDLE get() const { return handle; }
    // Waits for this event alone, for at most ten seconds unless told otherwise.
    DWORD wait(DWORD milliseconds = 10000) const;

private:
    HANDLE handle;
};

// A completion port, closed at the end of its life.
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

// What GetQueuedCompletionStatus gave.
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

    // Result: as WSARecv, with the last error of a failure instead of SOCKET_ERROR.
    int post(const Socket& socket, LPWSAOVERLAPPED_COMPLETION_ROUTINE routine = nullptr);
    std::string text() const { return buffer.substr(0, count); }

    OVERLAPPED overlapped{};
    std::string buffer;
    DWORD count = 0; // set by a post that completed at once, and by finish
    DWORD flags = 0;

    // WSAGetOverlappedResult; the last error of a failure, else 0.
    int finish(const Socket& socket, bool wait);
};

} // namespace VexaSsl::test
