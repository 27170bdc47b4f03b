// Used by the example servers: a listening socket on the loopback address, and owners of an address
// list and of a socket.
#pragma once

#include <VexaPlatform/HostSockets.h>
#include <VexaSsl/ISocketStrategy.h>

#include <netinet/tcp.h>

#include <stdexcept>
#include <string>

struct AddressList {
    addrinfo* list = nullptr;
    ~AddressList() { VexaSsl::platform::freeaddrinfo(list); }
};

struct SocketCloser {
    VexaSsl::SOCKET socket;
    ~SocketCloser() { VexaSsl::platform::closesocket(socket); }
};

// Port "0" chooses a free one. Throws std::runtime_error.
inline VexaSsl::SOCKET listenLocally(VexaSsl::ISocketStrategy& plain, const char* port) {
    using namespace VexaSsl;
    AddressList addresses;
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    if (plain.getaddrinfo("127.0.0.1", port, &hints, &addresses.list) != 0) {
        throw std::runtime_error("invalid port");
    }
    const SOCKET s = platform::socket(addresses.list->ai_family, SOCK_STREAM, 0);
    // Accepted sockets inherit it. Otherwise the last record of an answer waits for the peer's
    // delayed acknowledgement.
    const int yes = 1;
    setsockopt(static_cast<int>(s), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    // Otherwise a restarted server can't bind for a minute after it has closed a connection.
    setsockopt(static_cast<int>(s), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (platform::bind(s, addresses.list->ai_addr, static_cast<int>(addresses.list->ai_addrlen)) !=
            0 ||
        platform::listen(s, SOMAXCONN) != 0) {
        throw std::runtime_error("cannot listen: error " +
                                 std::to_string(platform::WSAGetLastError()));
    }
    return s;
}

inline std::string portOf(VexaSsl::SOCKET s) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    auto* plain = reinterpret_cast<sockaddr*>(&address);
    getsockname(static_cast<int>(s), plain, &length);
    char port[NI_MAXSERV] = {};
    getnameinfo(plain, length, nullptr, 0, port, sizeof port, NI_NUMERICSERV);
    return port;
}
