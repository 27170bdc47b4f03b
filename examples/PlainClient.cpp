// A client without this library. ClientHost.cpp is the same program with its socket calls replaced
// by those of a strategy; compare the two.
//
//   plain_client HOST PORT TEXT
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <iostream>
#include <string>

namespace {

int connectTo(const char* host, const char* port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* addresses = nullptr;
    if (getaddrinfo(host, port, &hints, &addresses) != 0) {
        return -1;
    }
    int connected = -1;
    for (const addrinfo* a = addresses; a && connected == -1; a = a->ai_next) {
        const int s = socket(a->ai_family, SOCK_STREAM, 0);
        if (s != -1 && connect(s, a->ai_addr, a->ai_addrlen) == 0) {
            connected = s;
        } else if (s != -1) {
            close(s);
        }
    }
    freeaddrinfo(addresses);
    return connected;
}

bool exchange(int s, const std::string& line) {
    if (send(s, line.data(), line.size(), MSG_NOSIGNAL) == -1) {
        return false;
    }
    shutdown(s, SHUT_WR);
    char buffer[4096];
    ssize_t count = 0;
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
    const int s = connectTo(argv[1], argv[2]);
    if (s == -1) {
        std::cerr << "cannot connect\n";
        return 1;
    }
    const bool exchanged = exchange(s, std::string(argv[3]) + "\n");
    close(s);
    return exchanged ? 0 : 1;
}
