// A client without this library. ClientHost.cpp is the same program with its socket calls replaced
// by those of a strategy; compare the two.
//
//   plain_client HOST PORT TEXT
#include <winsock2.h>
#include <ws2tcpip.h>

#include <iostream>
#include <string>

namespace {

SOCKET connectTo(const char* host, const char* port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* addresses = nullptr;
    if (getaddrinfo(host, port, &hints, &addresses) != 0) {
        return INVALID_SOCKET;
    }
    SOCKET connected = INVALID_SOCKET;
    for (const addrinfo* a = addresses; a && connected == INVALID_SOCKET; a = a->ai_next) {
        const SOCKET s = socket(a->ai_family, SOCK_STREAM, 0);
        if (connect(s, a->ai_addr, static_cast<int>(a->ai_addrlen)) == 0) {
            connected = s;
        } else {
            closesocket(s);
        }
    }
    freeaddrinfo(addresses);
    return connected;
}

bool exchange(SOCKET s, const std::string& line) {
    if (send(s, line.data(), static_cast<int>(line.size()), 0) == SOCKET_ERROR) {
        return false;
    }
    shutdown(s, SD_SEND);
    char buffer[4096];
    int count = 0;
    while ((count = recv(s, buffer, sizeof buffer, 0)) > 0) {
        std::cout.write(buffer, count);
    }
    return count == 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "plain_client HOST PORT TEXT\n";
        return 1;
    }
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) {
        return 1;
    }
    const SOCKET s = connectTo(argv[1], argv[2]);
    if (s == INVALID_SOCKET) {
        std::cerr << "cannot connect\n";
        return 1;
    }
    const bool exchanged = exchange(s, std::string(argv[3]) + "\n");
    closesocket(s);
    return exchanged ? 0 : 1;
}
