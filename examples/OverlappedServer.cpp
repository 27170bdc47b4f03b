// A server with overlapped operations: one thread echoes what several clients send.
//
//   overlapped_server PORT INI-FILE CONNECTION CERTIFICATES CLIENTS
//
// Prints "port <number>" when it is ready and ends after CLIENTS connections. The handshake blocks,
// so one slow client delays the others here; a larger server runs completeAcceptEx on another
// thread.
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

// A connection, from the AcceptEx posted for it to its end. One operation is always pending and the
// system writes to its members, so a Client can't be moved.
class Client {
public:
    Client(ILog& log, const IConfig& config, SOCKET listener)
        : strategy(instantiateSocketStrategy(log, config)), listener(listener),
          socket(platform::socket(AF_INET, SOCK_STREAM, 0)) {
        overlapped.hEvent = platform::WSACreateEvent();
        strategy->AcceptEx(listener, socket, buffer, 0, addressLength, addressLength, &count,
                           &overlapped);
    }
    ~Client() {
        platform::closesocket(socket); // aborts the pending operation
        platform::WSACloseEvent(overlapped.hEvent);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    bool isAccepted() const { return accepted; }
    HANDLE event() const { return overlapped.hEvent; }

    // Handles the completion of the pending operation and posts the next one. Returns false at the
    // end of the connection.
    bool advance() {
        const SOCKET waitedFor = accepted ? socket : listener;
        const bool succeeded = platform::WSAGetOverlappedResult(waitedFor, &overlapped, &count,
                                                                FALSE, &flags) != FALSE;
        const bool first = !std::exchange(accepted, true);
        if (first) {
            return succeeded && strategy->completeAcceptEx() == 0 && post(socket);
        }
        // Only a completion with a count of 0 is the end of the stream: 0 bytes of plaintext may be
        // an incomplete record. Plaintext that is held at the end is still echoed.
        const bool ends = !succeeded || count == 0;
        if (ends) {
            count = 0;
        }
        const bool isOpen = complete();
        const bool mayHoldMore = !isOpen || ends || count == sizeof buffer;
        return echo() && (!mayHoldMore || drain()) && isOpen && !ends && post(socket);
    }

private:
    bool post(SOCKET s) {
        WSABUF space{sizeof buffer, buffer};
        return strategy->WSARecv(s, &space, 1, &count, &flags, &overlapped, nullptr) == 0 ||
               platform::WSAGetLastError() == WSA_IO_PENDING;
    }

    // Decrypts what was received into the buffer. Returns false at the peer's TLS closure.
    bool complete() { return strategy->completeWSARecv(0, &count, nullptr) == 0; }

    bool echo() {
        const int length = static_cast<int>(count);
        return length == 0 || strategy->send(socket, buffer, length, 0) == length;
    }

    // Echoes the plaintext that the strategy still holds. No completion announces it, and recv
    // would also read from the socket and lose it at the peer's closure. A receive on
    // INVALID_SOCKET fails at once without reading, but stays in the queue, and completing it
    // delivers what is held. The closure may be reported before the bytes. Returns false at the end
    // of the connection.
    bool drain() {
        bool isOpen = true;
        for (;;) {
            post(INVALID_SOCKET);
            count = 0;
            if (!complete()) {
                if (!std::exchange(isOpen, false)) {
                    return false;
                }
            } else if (count == 0 || !echo()) {
                return isOpen && count == 0;
            }
        }
    }

    static constexpr DWORD addressLength = sizeof(sockaddr_storage) + 16;
    std::unique_ptr<ISocketStrategy> strategy;
    SOCKET listener;
    SOCKET socket;
    bool accepted = false;
    WSAOVERLAPPED overlapped{};
    DWORD count = 0;
    DWORD flags = 0;
    char buffer[16384];
};

// Accepts that many connections. Returns when the last one has ended.
void serve(ILog& log, const IConfig& config, SOCKET listener, int remaining) {
    std::vector<std::unique_ptr<Client>> clients;
    while (remaining > 0 || !clients.empty()) {
        if (remaining > 0 && (clients.empty() || clients.back()->isAccepted())) {
            clients.push_back(std::make_unique<Client>(log, config, listener));
            --remaining;
        }
        std::vector<HANDLE> events;
        for (const auto& client : clients) {
            events.push_back(client->event());
        }
        const DWORD index = platform::WSAWaitForMultipleEvents(
            static_cast<DWORD>(events.size()), events.data(), FALSE, platform::WSA_INFINITE, FALSE);
        if (index >= events.size()) {
            throw std::runtime_error("cannot wait for more than 64 events");
        }
        if (!clients[index]->advance()) {
            clients.erase(clients.begin() + index);
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
        std::cerr << error.what() << ": see the log\n";
        return 1;
    }
}
