// A small client: sends one line to a server, by the settings of an ini file, and prints the
// answer.
//
//   client_host HOST PORT INI-FILE CONNECTION CERTIFICATES TEXT
#include <VexaPlatform/Certificates.h>
#include <VexaPlatform/HostSockets.h>
#include <VexaSsl/SslLog.h>
#include <VexaSsl/VexaSsl.h>

#include <exception>
#include <iostream>
#include <string>

namespace {

using namespace VexaSsl;

// A peer that falls silent ends an operation, the handshake included, after this time.
void limitWaiting(SOCKET s) {
    const timeval limit{30, 0};
    setsockopt(static_cast<int>(s), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
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
        const SOCKET s = platform::socket(a->ai_family, SOCK_STREAM, 0);
        limitWaiting(s);
        if (strategy.connect(s, a->ai_addr, static_cast<int>(a->ai_addrlen)) == 0) {
            connected = s;
        } else {
            platform::closesocket(s); // no strategy closes a socket
        }
    }
    platform::freeaddrinfo(addresses);
    return connected;
}

// Result: false when the connection failed.
bool talk(ISocketStrategy& strategy, SOCKET s, const std::string& line) {
    // On a blocking socket send takes everything or fails.
    if (strategy.send(s, line.data(), static_cast<int>(line.size()), 0) == SOCKET_ERROR) {
        return false;
    }
    platform::shutdown(s, SD_SEND);
    char buffer[4096];
    int count = 0;
    while ((count = strategy.recv(s, buffer, sizeof buffer, 0)) > 0) {
        std::cout.write(buffer, count);
    }
    return count == 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 7) {
        std::cerr << "client_host HOST PORT INI-FILE CONNECTION CERTIFICATES TEXT\n";
        return 1;
    }
    std::ios::sync_with_stdio(false); // SslLog writes wide text to the same console
    try {
        SslLog log; // outlives everything made with it
        platform::setCertificateFolder(argv[5]);
        const auto config =
            constructSslConfigurationFromIniFile(log, argv[3], convertNarrowToWide(argv[4]));
        const auto strategy = instantiateSocketStrategy(log, *config); // one per connection
        const SOCKET s = connectTo(*strategy, argv[1], argv[2]);
        if (s == INVALID_SOCKET) {
            std::cerr << "no connection; the log tells why\n";
            return 1;
        }
        const bool well = talk(*strategy, s, std::string(argv[6]) + "\n");
        platform::closesocket(s);
        return well ? 0 : 1;
    } catch (const std::exception& error) { // a bad value in the configuration
        std::cerr << error.what() << "; the log tells more\n";
        return 1;
    }
}
