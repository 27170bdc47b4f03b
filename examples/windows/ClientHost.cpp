// A small client: sends one line to a server, by the settings of an ini file, and prints the
// answer. Its certificates come from the machine's stores.
//
//   client_host HOST PORT INI-FILE CONNECTION TEXT
#include <VexaSsl/SslLog.h>
#include <VexaSsl/VexaSsl.h>

#include <exception>
#include <iostream>
#include <string>

namespace {

using namespace VexaSsl;

// A peer that falls silent ends an operation, the handshake included, after this time.
void limitWaiting(SOCKET s) {
    const DWORD milliseconds = 30000;
    setsockopt(s, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&milliseconds),
               sizeof milliseconds);
}

// Tries the addresses of the host in order. With encryption, the name that is resolved here is the
// name that the server's certificate must carry, and connect runs the handshake.
SOCKET connectTo(ISocketStrategy& strategy, const char* host, const char* port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* addresses = nullptr;
    if (strategy.getaddrinfo(host, port, &hints, &addresses) != 0) {
        return INVALID_SOCKET;
    }
    SOCKET connected = INVALID_SOCKET;
    for (const addrinfo* a = addresses; a && connected == INVALID_SOCKET; a = a->ai_next) {
        const SOCKET s = socket(a->ai_family, SOCK_STREAM, 0);
        limitWaiting(s);
        if (strategy.connect(s, a->ai_addr, static_cast<int>(a->ai_addrlen)) == 0) {
            connected = s;
        } else {
            closesocket(s); // no strategy closes a socket
        }
    }
    freeaddrinfo(addresses);
    return connected;
}

// Result: false when the connection failed.
bool talk(ISocketStrategy& strategy, SOCKET s, const std::string& line) {
    // On a blocking socket send takes everything or fails.
    if (strategy.send(s, line.data(), static_cast<int>(line.size()), 0) == SOCKET_ERROR) {
        return false;
    }
    shutdown(s, SD_SEND);
    char buffer[4096];
    int count = 0;
    while ((count = strategy.recv(s, buffer, sizeof buffer, 0)) > 0) {
        std::cout.write(buffer, count);
    }
    return count == 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::cerr << "client_host HOST PORT INI-FILE CONNECTION TEXT\n";
        return 1;
    }
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) { // the library leaves this to its host
        return 1;
    }
    try {
        SslLog log; // outlives everything made with it
        const auto config =
            constructSslConfigurationFromIniFile(log, argv[3], convertNarrowToWide(argv[4]));
        const auto strategy = instantiateSocketStrategy(log, *config); // one per connection
        const SOCKET s = connectTo(*strategy, argv[1], argv[2]);
        if (s == INVALID_SOCKET) {
            std::cerr << "no connection; the log tells why\n";
            return 1;
        }
        const bool well = talk(*strategy, s, std::string(argv[5]) + "\n");
        closesocket(s);
        return well ? 0 : 1;
    } catch (const std::exception& error) { // a bad value in the configuration
        std::cerr << error.what() << "; the log tells more\n";
        return 1;
    }
}
