// The socket work of a host: creating, listening and closing sockets, setting timeouts, and waiting
// for overlapped operations. Every socket created here has timeouts, so that no test hangs on a
// silent peer.
#pragma once

#include "integration/support/System.h"

#include <cstdint>
#include <utility>

namespace VexaSsl::test {

// The timeout of every single wait.
inline constexpr int timeoutSeconds = 30;
inline constexpr DWORD timeoutMilliseconds = 1000U * timeoutSeconds;

// Owns a SOCKET and closes it.
class HostSocket {
public:
    HostSocket() = default;
    explicit HostSocket(SOCKET socket) : socket(socket) {}
    HostSocket(HostSocket&& other) noexcept : socket(std::exchange(other.socket, INVALID_SOCKET)) {}
    HostSocket& operator=(HostSocket&& other) noexcept {
        std::swap(socket, other.socket);
        return *this;
    }
    ~HostSocket() { close(); }

    SOCKET handle() const { return socket; }
    // Only where a socket is a descriptor.
    int descriptor() const { return static_cast<int>(socket); }
    void close();

private:
    SOCKET socket = INVALID_SOCKET;
};

// Returns a new TCP socket with timeouts.
HostSocket makeSocket(int family = AF_INET);
void setTimeouts(SOCKET socket, int seconds = timeoutSeconds); // defined for each system

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
// Returns a connected TCP socket without a stack.
HostSocket rawConnection(std::uint16_t port);

// Owns an event and an OVERLAPPED with it.
class Overlapped {
public:
    Overlapped();
    ~Overlapped();
    Overlapped(const Overlapped&) = delete;
    Overlapped& operator=(const Overlapped&) = delete;

    OVERLAPPED* get() { return &state; }
    // Waits for the completion. Returns true and the bytes transferred, or false with the error
    // code of the operation.
    bool wait(SOCKET socket, DWORD& transferred);

private:
    OVERLAPPED state{};
};

} // namespace VexaSsl::test
