// The socket work that a host does itself, outside of a strategy: owning a socket, naming
// addresses, listening.
//
// Threads: nothing here is shared.
#pragma once

#include "HostCalls.h"
#include "VexaSsl/ISocketStrategy.h"

#include <string>
#include <utility>

namespace VexaSsl::tool {

// Sole owner of a socket; closes it.
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

// Sole owner of an address list that a strategy's getaddrinfo made.
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
    std::string host; // without brackets
    std::string port;

    // "host:port", an IPv6 address in brackets.
    std::string text() const;
};

// "::1" for "[::1]"; a host without brackets as it is.
std::string withoutBrackets(const std::string& host);

// Reads "HOST:PORT" or "[IPV6]:PORT". Throws Failure (Usage) with the reason.
Endpoint parseEndpoint(const std::string& text);

// The addresses of the target by the strategy, which needs a name to have been asked for. Throws
// Failure (CannotConnect) when there is none.
void resolve(ISocketStrategy& strategy, const Endpoint& target, AddressList& addresses);

// "127.0.0.1:80" or "[::1]:80"; "an unknown address" when it can't be told.
std::string addressText(const sockaddr* address, socklen_t length);
std::string localAddressText(SOCKET s);
std::string peerAddressText(SOCKET s);

// A listening socket and the family of its address.
struct Listener {
    OwnedSocket socket;
    int family = 0;
};

// Listens on the first address that the name gives. Throws Failure (CannotConnect).
Listener listenOn(const Endpoint& endpoint);

// Words for a socket error number; "socket error <n>" for one without words here.
std::string socketErrorText(int error);

} // namespace VexaSsl::tool
