// A small server: echoes what one client after another sends, by the settings of an ini file.
//
//   server_host PORT INI-FILE CONNECTION CERTIFICATES CLIENTS
//
// Prints "port <number>" when it is ready (PORT 0 takes a free one) and ends after that many
// clients. One client at a time keeps it small; a real server posts AcceptEx and runs
// completeAcceptEx, which is the handshake, on a thread of the connection's own.
#include "Listener.h"

#include <VexaPlatform/Certificates.h>
#include <VexaPlatform/HostSockets.h>
#include <VexaSsl/SslLog.h>
#include <VexaSsl/VexaSsl.h>

#include <exception>
#include <iostream>
#include <string>

namespace {

using namespace VexaSsl;

void echo(ISocketStrategy& strategy, SOCKET s) {
    char buffer[16384];
    int count = 0;
    while ((count = strategy.recv(s, buffer, sizeof buffer, 0)) > 0) {
        for (int sent = 0; sent < count;) {
            const int piece = strategy.send(s, buffer + sent, count - sent, 0);
            if (piece == SOCKET_ERROR) {
                return;
            }
            sent += piece;
        }
    }
}

// Result: false when no connection came of it.
bool serveOne(ILog& log, const IConfig& config, SOCKET listener) {
    const auto strategy = instantiateSocketStrategy(log, config);
    // The accepted socket is known beforehand, so it can be closed even after a failed handshake.
    const SOCKET s = platform::socket(AF_INET, SOCK_STREAM, 0);
    OVERLAPPED state{};
    state.hEvent = platform::WSACreateEvent();
    constexpr DWORD room = sizeof(sockaddr_storage) + 16;
    char addresses[2 * room];
    DWORD transferred = 0;
    DWORD flags = 0;
    strategy->AcceptEx(listener, s, addresses, 0, room, room, &transferred, &state);
    const bool accepted =
        platform::WSAGetOverlappedResult(listener, &state, &transferred, TRUE, &flags) != FALSE;
    const timeval limit{30, 0}; // against silent clients
    setsockopt(static_cast<int>(s), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    const bool secured = accepted && strategy->completeAcceptEx() == 0;
    if (secured) {
        echo(*strategy, s);
    }
    platform::closesocket(s);
    platform::WSACloseEvent(state.hEvent);
    return secured;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::cerr << "server_host PORT INI-FILE CONNECTION CERTIFICATES CLIENTS\n";
        return 1;
    }
    std::ios::sync_with_stdio(false); // SslLog writes wide text to the same console
    try {
        SslLog log;
        platform::setCertificateFolder(argv[4]);
        const auto config =
            constructSslConfigurationFromIniFile(log, argv[2], convertNarrowToWide(argv[3]));
        const auto plain =
            instantiateSocketStrategy(log, *constructDefaultSslConfiguration(log, L"listener"));
        const SOCKET listener = listenLocally(*plain, argv[1]);
        std::cout << "port " << portOf(listener) << std::endl;
        bool allWell = true;
        for (int client = std::stoi(argv[5]); client > 0; --client) {
            allWell = serveOne(log, *config, listener) && allWell;
        }
        platform::closesocket(listener);
        return allWell ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << "; the log tells more\n";
        return 1;
    }
}
