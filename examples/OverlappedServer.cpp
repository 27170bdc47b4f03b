// A server that receives by overlapped operations: one thread, several clients, each echoed as its
// bytes come.
//
//   overlapped_server PORT INI-FILE CONNECTION CERTIFICATES CLIENTS
//
// Prints "port <number>" when it is ready and ends when that many clients have come and gone. The
// handshake blocks, so here one slow client holds up the others; a larger server runs
// completeAcceptEx on a thread of its own.
#include "Listener.h"

#include <VexaPlatform/Certificates.h>
#include <VexaPlatform/HostSockets.h>
#include <VexaSsl/SslLog.h>
#include <VexaSsl/VexaSsl.h>

#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace VexaSsl;

// A connection, from the AcceptEx posted for it until its end. Always one operation is under way,
// and the system writes to its state, so it stays where it is made.
class Client {
public:
    Client(ILog& log, const IConfig& config, SOCKET listening)
        : strategy(instantiateSocketStrategy(log, config)), listener(listening),
          socket(platform::socket(AF_INET, SOCK_STREAM, 0)) {
        state.hEvent = platform::WSACreateEvent();
        strategy->AcceptEx(listener, socket, buffer, 0, room, room, &count, &state);
    }
    ~Client() {
        platform::closesocket(socket); // what is still posted ends with it
        platform::WSACloseEvent(state.hEvent);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    bool hasCome() const { return come; }
    HANDLE event() const { return state.hEvent; }

    // What was under way has completed. Result: false at the end of the connection.
    bool goOn() {
        const SOCKET posted = come ? socket : listener;
        const bool well =
            platform::WSAGetOverlappedResult(posted, &state, &count, FALSE, &flags) != FALSE;
        const bool first = !std::exchange(come, true);
        if (first) {
            return well && strategy->completeAcceptEx() == 0 && post(socket);
        }
        // Only the count of the wire tells the peer's end: 0 bytes of plaintext are also a piece of
        // a record, whose rest is still to come. What came before an end is echoed all the same.
        const bool ends = !well || count == 0;
        if (ends) {
            count = 0;
        }
        const bool goesOn = complete();
        const bool holdsMore = !goesOn || ends || count == sizeof buffer;
        return echo() && (!holdsMore || drain()) && goesOn && !ends && post(socket);
    }

private:
    bool post(SOCKET s) {
        WSABUF space{sizeof buffer, buffer};
        return strategy->WSARecv(s, &space, 1, &count, &flags, &state, nullptr) == 0 ||
               platform::WSAGetLastError() == WSA_IO_PENDING;
    }

    // From the bytes on the wire to those in the buffer. Result: false where the stream ends.
    bool complete() { return strategy->completeWSARecv(0, &count, nullptr) == 0; }

    bool echo() {
        const int length = static_cast<int>(count);
        return length == 0 || strategy->send(socket, buffer, length, 0) == length;
    }

    // What the strategy holds already is announced by no completion, and a recv would read on
    // behind it, and lose it at the peer's end. A receive on no socket reads nothing: it fails at
    // once, but keeps its place, and to complete it serves what is held. An end may come before the
    // bytes.
    bool drain() {
        bool goesOn = true;
        for (;;) {
            post(INVALID_SOCKET);
            count = 0;
            if (!complete()) {
                if (!std::exchange(goesOn, false)) {
                    return false;
                }
            } else if (count == 0 || !echo()) {
                return goesOn && count == 0;
            }
        }
    }

    static constexpr DWORD room = sizeof(sockaddr_storage) + 16; // for an address
    std::unique_ptr<ISocketStrategy> strategy;
    SOCKET listener;
    SOCKET socket;
    bool come = false;
    WSAOVERLAPPED state{};
    DWORD count = 0;
    DWORD flags = 0;
    char buffer[16384];
};

// Takes so many clients and serves until the last has ended.
void serve(ILog& log, const IConfig& config, SOCKET listener, int more) {
    std::vector<std::unique_ptr<Client>> clients;
    while (more > 0 || !clients.empty()) {
        if (more > 0 && (clients.empty() || clients.back()->hasCome())) {
            clients.push_back(std::make_unique<Client>(log, config, listener));
            --more;
        }
        std::vector<HANDLE> events;
        for (const auto& client : clients) {
            events.push_back(client->event());
        }
        const DWORD met = platform::WSAWaitForMultipleEvents(
            static_cast<DWORD>(events.size()), events.data(), FALSE, platform::WSA_INFINITE, FALSE);
        if (met >= events.size()) {
            throw std::runtime_error("can't wait for so many"); // one wait takes 64
        }
        if (!clients[met]->goOn()) {
            clients.erase(clients.begin() + met);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::cerr << "overlapped_server PORT INI-FILE CONNECTION CERTIFICATES CLIENTS\n";
        return 1;
    }
    std::ios::sync_with_stdio(false);
    try {
        SslLog log;
        platform::setCertificateFolder(argv[4]);
        const auto config =
            constructSslConfigurationFromIniFile(log, argv[2], convertNarrowToWide(argv[3]));
        const auto plain =
            instantiateSocketStrategy(log, *constructDefaultSslConfiguration(log, L"listener"));
        const SOCKET listener = listenLocally(*plain, argv[1]);
        std::cout << "port " << portOf(listener) << std::endl;
        serve(log, *config, listener, std::stoi(argv[5]));
        platform::closesocket(listener);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << "; the log tells more\n";
        return 1;
    }
}
