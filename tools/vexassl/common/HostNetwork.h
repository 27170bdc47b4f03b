// The socket work that a host does itself, outside a strategy: owning a socket, naming addresses,
// listening.
//
// Threads: nothing is shared.
#pragma once

#include "HostCalls.h"
#include "VexaSsl/ISocketStrategy.h"

#include <string>
#include <utility>

namespace VexaSsl::tool {

// Owns a socket and closes it.
class OwnedSocket {
public:
    explicit OwnedSocket(SOCKET s = INVALID_SOCKET) : socket(s) {}
    ~OwnedSocket() { close(); }
    OwnedSocket(OwnedSocket&& other) noexcept
        : socket(std::exchange(other.socket, INVALID_SOCKET)) {}
    OwnedSocket& operator=(OwnedSocket&& other) noexcept {
        if (this != &other) {
            close();
            socket = std::exchange(other.socket, INVALID_SOCKET);
        }
        return *this;
    }
    OwnedSocket(const OwnedSocket&) = delete;
    OwnedSocket& operator=(const OwnedSocket&) = delete;

    SOCKET get() const { return socket; }
    bool valid() const { return socket != INVALID_SOCKET; }
    void close();

private:
    SOCKET socket;
};

// Owns an address list that a strategy's getaddrinfo made.
class AddressList {
public:
    AddressList() = default;
    ~AddressList() { platform::freeaddrinfo(head); }
    AddressList(const AddressList&) = delete;
    AddressList& operator=(const AddressList&) = delete;

    addrinfo** receive() { return &head; }
    const addrinfo* first() const { return head; }

private:
    addrinfo* head = nullptr;
};

struct Endpoint {
    std::string host; // without brackets, in ASCII
    std::string port;

    // "host:port", with brackets around an IPv6 address.
    std::string text() const;
};

// Returns "::1" for "[::1]", and a host without brackets unchanged.
std::string withoutBrackets(const std::string& host);

// Reads "HOST:PORT" or "[IPV6]:PORT". Throws Failure (Usage) with the reason.
Endpoint parseEndpoint(const std::string& text);

// Looks up the addresses of the target through the strategy, which must have resolved a name before
// it connects: the one that the peer is to have, the host's if it is empty. Throws Failure
// (CannotConnect) when there are none.
void resolve(ISocketStrategy& strategy, const Endpoint& target, AddressList& addresses,
             const std::string& name = "");

// Returns "127.0.0.1:80" or "[::1]:80", or "an unknown address" when the system doesn't know it.
std::string addressText(const sockaddr* address, socklen_t length);
std::string localAddressText(SOCKET s);
std::string peerAddressText(SOCKET s);

// A listening socket and its address family.
struct Listener {
    OwnedSocket socket;
    int family = 0;
};

// Listens on the first address of the name. Throws Failure (CannotConnect).
Listener listenOn(const Endpoint& endpoint);

// Returns a text for a socket error number; "socket error <n>" for a number without a text here.
std::string socketErrorText(int error);

} // namespace VexaSsl::tool
