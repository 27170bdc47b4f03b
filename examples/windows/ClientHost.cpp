// A small client: sends one line to a server and prints the answer. It tries again after a failure
// that may pass, and gives up at once on a server that it doesn't trust. An ini file configures the
// connection; certificates come from the machine's stores.
//
//   client_host HOST PORT INI-FILE CONNECTION TEXT
#include "../Receiver.h"
#include "Breakpoints.h"

#include <VexaSsl/SslLog.h>
#include <VexaSsl/VexaSsl.h>

#include <chrono>
#include <exception>
#include <iostream>
#include <string>
#include <thread>

namespace {

using namespace VexaSsl;

// With a silent peer recv, and so the handshake, fails after 30 seconds. The last record of a long
// request doesn't wait for the peer's delayed acknowledgement.
void setOptions(SOCKET s) {
    const DWORD milliseconds = 30000;
    setsockopt(s, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&milliseconds),
               sizeof milliseconds);
    const BOOL yes = TRUE;
    setsockopt(s, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&yes), sizeof yes);
}

// Returns whether trying again may help. In the clear there is no cause, and only the network
// fails.
bool mayPass(const ConnectionFailure& failure) {
    return failure.cause == FailureCause::Transport || failure.cause == FailureCause::None;
}

ConnectionFailure lastFailure(const ISocketStrategy& strategy) {
    return dynamic_cast<const IConnectionInfo&>(strategy).lastFailure();
}

// Tries the addresses of the host in order. Returns INVALID_SOCKET when none can be connected to.
// With encryption, the server's certificate must have the name that is resolved here, and connect
// runs the handshake.
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
        if (s == INVALID_SOCKET) { // the system lacks the family
            continue;
        }
        setOptions(s);
        if (strategy.connect(s, a->ai_addr, static_cast<int>(a->ai_addrlen)) == 0) {
            connected = s;
        } else {
            closesocket(s); // no strategy closes a socket
            if (!mayPass(lastFailure(strategy))) {
                break; // it would be the same at the next address
            }
        }
    }
    freeaddrinfo(addresses);
    return connected;
}

// Tries three times, one and two seconds apart.
SOCKET connectPatiently(ISocketStrategy& strategy, const char* host, const char* port) {
    constexpr int attempts = 3;
    for (int attempt = 1;; ++attempt) {
        const SOCKET connected = connectTo(strategy, host, port);
        if (connected != INVALID_SOCKET) {
            return connected;
        }
        // All that there is in the clear, or when the name can't be resolved.
        const int error = WSAGetLastError();
        const ConnectionFailure failure = lastFailure(strategy);
        std::cerr << "attempt " << attempt << ": "
                  << (failure.text.empty() ? "error " + std::to_string(error)
                                           : convertWideToNarrow(failure.text))
                  << std::endl;
        if (attempt == attempts || !mayPass(failure)) {
            return INVALID_SOCKET;
        }
        std::this_thread::sleep_for(std::chrono::seconds(attempt));
    }
}

// Returns whether the answer was received up to the end of the stream.
bool exchange(ISocketStrategy& strategy, SOCKET s, const std::string& line) {
    // On a blocking socket send sends everything or fails.
    if (strategy.send(s, line.data(), static_cast<int>(line.size()), 0) == SOCKET_ERROR) {
        return false;
    }
    shutdown(s, SD_SEND);
    example::Receiver receiver(strategy, s);
    char buffer[4096];
    int count = 0;
    while ((count = receiver.receive(buffer, sizeof buffer)) > 0) {
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
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) { // a task of the host, not of the library
        return 1;
    }
    try {
        const BreakpointHandler breakpoints;
        SslLog log; // must outlive everything created with it
        const auto config =
            constructSslConfigurationFromIniFile(log, argv[3], convertNarrowToWide(argv[4]));
        const auto strategy = instantiateSocketStrategy(log, *config); // one per connection
        const SOCKET s = connectPatiently(*strategy, argv[1], argv[2]);
        if (s == INVALID_SOCKET) {
            std::cerr << "cannot connect: see the log\n";
            return 1;
        }
        const bool exchanged = exchange(*strategy, s, std::string(argv[5]) + "\n");
        closesocket(s);
        return exchanged ? 0 : 1;
    } catch (const std::exception& error) { // a bad value in the configuration
        std::cerr << error.what() << " (the log may have the reason)\n";
        return 1;
    }
}
