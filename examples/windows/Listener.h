// Used by the examples: Winsock while the program runs, a listening socket on the loopback address,
// and owners of an address list and of a socket.
#pragma once

#include <VexaSsl/Sockets.h>

#include <stdexcept>
#include <string>

// Starts Winsock, which is a task of the host. Throws std::runtime_error.
struct Winsock {
    Winsock() {
        WSADATA data;
        if (WSAStartup(MAKEWORD(2, 2), &data) != 0) {
            throw std::runtime_error("cannot start Winsock");
        }
    }
    ~Winsock() { WSACleanup(); }
    Winsock(const Winsock&) = delete;
    Winsock& operator=(const Winsock&) = delete;
};

struct AddressList {
    addrinfo* list = nullptr;
    ~AddressList() {
        if (list != nullptr) {
            freeaddrinfo(list);
        }
    }
};

struct SocketCloser {
    SOCKET socket;
    ~SocketCloser() { closesocket(socket); }
};

// Port 0 chooses a free one. Throws std::runtime_error.
inline SOCKET listenLocally(u_short port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    const SOCKET s = socket(AF_INET, SOCK_STREAM, 0);
    // Accepted sockets inherit it. Otherwise the last record of an answer waits for the peer's
    // delayed acknowledgement.
    const BOOL yes = TRUE;
    setsockopt(s, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&yes), sizeof yes);
    if (bind(s, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(s, SOMAXCONN) != 0) {
        throw std::runtime_error("cannot listen: error " + std::to_string(WSAGetLastError()));
    }
    return s;
}

inline u_short portOf(SOCKET s) {
    sockaddr_in address{};
    int length = sizeof address;
    getsockname(s, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}
