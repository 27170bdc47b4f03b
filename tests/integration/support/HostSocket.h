// The host's half of the socket work: making, listening, limiting and closing sockets, and waiting
// for overlapped operations. Every socket made here has time limits, so that no test can hang on a
// silent peer.
#pragma once

#include "integration/support/System.h"

#include <cstdint>
#include <utility>

namespace VexaSsl::test {

// How long any single wait of a test may take.
inline constexpr int patienceSeconds = 30;
inline constexpr DWORD patienceMilliseconds = 1000U * patienceSeconds;

// Owns a SOCKET and closes it.
class HostSocket {
public:
    HostSocket() = default;
    explicit HostSocket(SOCKET owned) : socket(owned) {}
    HostSocket(HostSocket&& other) noexcept : socket(std::exchange(other.socket, INVALID_SOCKET)) {}
    HostSocket& operator=(HostSocket&& other) noexcept {
        std::swap(socket, other.socket);
        return *this;
    }
    ~HostSocket() { close(); }

    SOCKET handle() const { return socket; }
    // On systems where a socket is a descriptor.
    int descriptor() const { return static_cast<int>(socket); }
    void close();

private:
    SOCKET socket = INVALID_SOCKET;
};

// A TCP socket with time limits on receiving and sending.
HostSocket makeSocket(int family = AF_INET);
void limitWaiting(SOCKET socket, int seconds = patienceSeconds); // each system has its own

// Listens on a free port of 127.0.0.1 (or ::1).
class Listener {
public:
    explicit Listener(int family = AF_INET);
    SOCKET handle() const { return socket.handle(); }
    std::uint16_t port() const { return boundPort; }

private:
    HostSocket socket;
    std::uint16_t boundPort = 0;
};

sockaddr_in loopbackAddress(std::uint16_t port);
// A connected TCP socket without a stack.
HostSocket rawConnection(std::uint16_t port);

// Owns an event and the OVERLAPPED that carries it.
class Overlapped {
public:
    Overlapped();
    ~Overlapped();
    Overlapped(const Overlapped&) = delete;
    Overlapped& operator=(const Overlapped&) = delete;

    OVERLAPPED* get() { return &state; }
    // Waits for the completion on the socket. Result: true and the bytes of the completion, or
    // false with the operation's error in the last-error slot.
    bool wait(SOCKET socket, DWORD& transferred);

private:
    OVERLAPPED state{};
};

} // namespace VexaSsl::test
