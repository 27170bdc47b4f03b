// A small server: logs the name of each client and echoes what it sends, one client at a time. An
// ini file configures the connections; the certificate comes from the machine's personal store.
//
//   server_host PORT INI-FILE CONNECTION CLIENTS
//
// Prints "port <number>" when it is ready (PORT 0 chooses a free one) and ends after CLIENTS
// connections. A larger server runs completeAcceptEx, which is the handshake, on a thread of the
// connection.
#include "../Receiver.h"
#include "Breakpoints.h"
#include "Listener.h"

#include <VexaSsl/SslLog.h>
#include <VexaSsl/VexaSsl.h>

#include <exception>
#include <iostream>
#include <string>

namespace {

using namespace VexaSsl;

void setOption(SOCKET s, int option, const void* value, int size) {
    setsockopt(s, SOL_SOCKET, option, static_cast<const char*>(value), size);
}

// Who the client is, by its certificate. A server asks for one with RequireClientAuthentication,
// and then serves no client whose certificate isn't trusted.
std::wstring nameOfClient(const ConnectionInfo& connection) {
    if (!connection.peerTrusted) {
        return L"an unknown client";
    }
    return connection.peerNames.empty() ? connection.peerSubject : connection.peerNames.front();
}

void echo(ISocketStrategy& strategy, SOCKET s) {
    example::Receiver receiver(strategy, s);
    char buffer[16384];
    int count = 0;
    while ((count = receiver.receive(buffer, sizeof buffer)) > 0) {
        for (int sent = 0; sent < count;) {
            const int piece = strategy.send(s, buffer + sent, count - sent, 0);
            if (piece == SOCKET_ERROR) {
                return;
            }
            sent += piece;
        }
    }
}

// Returns whether the connection was established.
bool serveOne(ILog& log, const IConfig& config, SOCKET listener) {
    const auto strategy = instantiateSocketStrategy(log, config);
    // Unlike with accept, the socket is known and can be closed after a failed handshake.
    const SOCKET s = socket(AF_INET, SOCK_STREAM, 0);
    OVERLAPPED overlapped{};
    overlapped.hEvent = WSACreateEvent();
    constexpr DWORD addressLength = sizeof(sockaddr_storage) + 16;
    char addresses[2 * addressLength];
    DWORD transferred = 0;
    DWORD flags = 0;
    strategy->AcceptEx(listener, s, addresses, 0, addressLength, addressLength, &transferred,
                       &overlapped);
    const bool accepted =
        WSAGetOverlappedResult(listener, &overlapped, &transferred, TRUE, &flags) != FALSE;
    const DWORD milliseconds = 30000; // against silent clients
    setOption(s, SO_UPDATE_ACCEPT_CONTEXT, &listener, sizeof listener);
    setOption(s, SO_RCVTIMEO, &milliseconds, sizeof milliseconds);
    const bool secured = accepted && strategy->completeAcceptEx() == 0;
    if (secured) {
        const auto& info = dynamic_cast<IConnectionInfo&>(*strategy);
        log.log(Severity::Info, L"serving " + nameOfClient(info.connectionInfo()));
        echo(*strategy, s);
    }
    closesocket(s);
    WSACloseEvent(overlapped.hEvent);
    return secured;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "server_host PORT INI-FILE CONNECTION CLIENTS\n";
        return 1;
    }
    try {
        const Winsock winsock;
        const BreakpointHandler breakpoints;
        SslLog log;
        const auto config =
            constructSslConfigurationFromIniFile(log, argv[2], convertNarrowToWide(argv[3]));
        const SOCKET listener = listenLocally(static_cast<u_short>(std::stoi(argv[1])));
        std::cout << "port " << portOf(listener) << std::endl;
        bool allEstablished = true;
        for (int client = std::stoi(argv[4]); client > 0; --client) {
            allEstablished = serveOne(log, *config, listener) && allEstablished;
        }
        closesocket(listener);
        return allEstablished ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << " (the log may have the reason)\n";
        return 1;
    }
}
