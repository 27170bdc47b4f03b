// What the servers among the examples share: a listening socket on the loopback address, and owners
// for what must be given back however a function is left.
#pragma once

#include <VexaPlatform/HostSockets.h>
#include <VexaSsl/ISocketStrategy.h>

#include <stdexcept>
#include <string>

struct FreeLater {
    addrinfo* list = nullptr;
    ~FreeLater() { VexaSsl::platform::freeaddrinfo(list); }
};

struct CloseLater {
    VexaSsl::SOCKET socket;
    ~CloseLater() { VexaSsl::platform::closesocket(socket); }
};

// Port "0" takes a free one. Throws std::runtime_error.
inline VexaSsl::SOCKET listenLocally(VexaSsl::ISocketStrategy& plain, const char* port) {
    using namespace VexaSsl;
    FreeLater addresses;
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    if (plain.getaddrinfo("127.0.0.1", port, &hints, &addresses.list) != 0) {
        throw std::runtime_error("bad port");
    }
    const SOCKET s = platform::socket(addresses.list->ai_family, SOCK_STREAM, 0);
    if (platform::bind(s, addresses.list->ai_addr, static_cast<int>(addresses.list->ai_addrlen)) !=
            0 ||
        platform::listen(s, 16) != 0) {
        throw std::runtime_error("can't listen");
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
