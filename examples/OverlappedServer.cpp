// A server for many clients: it echoes what they send, at a completion port with a thread for each
// core.
//
//   overlapped_server PORT INI-FILE CONNECTION CERTIFICATES CLIENTS
//
// Prints "port <number>" when it is ready and ends after CLIENTS connections. Handshakes block, and
// so does sending to a client that doesn't read. Both have a thread of their own, so that such
// clients don't keep the threads that serve all others.
#include "Listener.h"

#include <VexaPlatform/Certificates.h>
#include <VexaPlatform/HostSockets.h>
#include <VexaSsl/SslLog.h>
#include <VexaSsl/VexaSsl.h>

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <iostream>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace VexaSsl;

// SslLog has no lock, and several threads log. A receive that ends inside a record, or with the
// stream, writes a Warning although nothing is wrong; here it is at Debug.
class LockedLog : public ILog {
public:
    void log(Severity severity, const std::wstring& text) override {
        const bool isOrdinary = text.starts_with(L"::WSARecv completed asynchronously, but");
        const std::lock_guard lock(mutex);
        sink.log(isOrdinary ? Severity::Debug : severity, text);
    }
    void setMinimumSeverity(Severity severity) override {
        const std::lock_guard lock(mutex);
        sink.setMinimumSeverity(severity);
    }

private:
    std::mutex mutex;
    SslLog sink;
};

// A connection. Once it is secured a receive is always pending, except while a thread serves it.
// The system writes to its members, so it can't be moved.
class Client {
public:
    Client(ILog& log, const IConfig& config)
        : strategy(instantiateSocketStrategy(log, config)),
          info(dynamic_cast<IConnectionInfo&>(*strategy)),
          socket(platform::socket(AF_INET, SOCK_STREAM, 0)) {}
    ~Client() { platform::closesocket(socket); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // Waits for a client of the listener.
    bool accept(SOCKET listener) {
        overlapped.hEvent = platform::WSACreateEvent();
        strategy->AcceptEx(listener, socket, buffer, 0, addressLength, addressLength, &count,
                           &overlapped);
        const BOOL accepted =
            platform::WSAGetOverlappedResult(listener, &overlapped, &count, TRUE, &flags);
        platform::WSACloseEvent(overlapped.hEvent);
        return accepted != FALSE;
    }

    // Runs the handshake and posts the first receive, which completes at the port. Blocks. Returns
    // false at the end of the connection.
    bool secure(HANDLE port) {
        const std::lock_guard lock(mutex);
        const timeval limit{30, 0}; // against silent clients, and those that don't read
        setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        overlapped = {};
        return strategy->completeAcceptEx() == 0 &&
               platform::CreateIoCompletionPort(platform::socketHandle(socket), port,
                                                reinterpret_cast<ULONG_PTR>(this), 0) == port &&
               post();
    }

    // Whether the echo can be sent without waiting for the client.
    bool isWritable() {
        const std::lock_guard lock(mutex);
        VexaSsl::fd_set writable{};
        platform::socketSetAdd(socket, writable);
        const timeval atOnce{};
        return strategy->select(0, nullptr, &writable, nullptr, &atOnce) != 0;
    }

    // Echoes what the completed receive brought and posts the next one. Returns false at the end of
    // the connection.
    bool serve() {
        const std::lock_guard lock(mutex);
        // Only a completion with a count of 0 is the end of the stream: 0 bytes of plaintext may be
        // an incomplete record. Plaintext that is held at the end is still echoed.
        const bool ends =
            platform::WSAGetOverlappedResult(socket, &overlapped, &count, FALSE, &flags) == FALSE ||
            count == 0;
        if (ends) {
            count = 0;
        }
        const bool isOpen = complete();
        return echo() && drain() && isOpen && !ends && post();
    }

private:
    bool post() {
        WSABUF space{sizeof buffer, buffer};
        return strategy->WSARecv(socket, &space, 1, &count, &flags, &overlapped, nullptr) == 0 ||
               platform::WSAGetLastError() == WSA_IO_PENDING;
    }

    // Decrypts what was received into the buffer. Returns false at the peer's TLS closure.
    bool complete() { return strategy->completeWSARecv(0, &count, nullptr) == 0; }

    bool echo() {
        const int length = static_cast<int>(count);
        return length == 0 || strategy->send(socket, buffer, length, 0) == length;
    }

    // Echoes the plaintext that the strategy still holds, which no completion announces. A recv of
    // no more than that doesn't use the network. Returns false at the end of the connection, which
    // is never reported before the bytes.
    bool drain() {
        int held = 0;
        while ((held = info.heldBytes()) > 0) {
            const int wanted = std::min(held, static_cast<int>(sizeof buffer));
            count = static_cast<DWORD>(strategy->recv(socket, buffer, wanted, 0));
            if (!echo()) {
                return false;
            }
        }
        return held == 0;
    }

    static constexpr DWORD addressLength = sizeof(sockaddr_storage) + 16;
    std::unique_ptr<ISocketStrategy> strategy;
    IConnectionInfo& info; // of the strategy
    SOCKET socket;
    // Another thread may take the completion of a receive before WSARecv has returned on this one.
    std::mutex mutex;
    WSAOVERLAPPED overlapped{};
    DWORD count = 0;
    DWORD flags = 0;
    char buffer[4096] = {}; // an idle connection needs four times this size
};

class Server {
public:
    Server()
        : port(platform::CreateIoCompletionPort(platform::invalidHandle(), platform::noHandle, 0,
                                                0)) {
        try {
            for (unsigned i = std::max(std::thread::hardware_concurrency(), 1U); i > 0; --i) {
                workers.emplace_back([this] { work(); });
            }
        } catch (...) {
            stop();
            throw;
        }
    }
    // Waits for the end of every connection.
    ~Server() {
        {
            std::unique_lock lock(mutex);
            changed.wait(lock, [this] { return clients == 0 && blocking.empty(); });
        }
        stop();
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    void start(std::unique_ptr<Client> accepted) {
        Client* const client = accepted.release();
        {
            const std::lock_guard lock(mutex);
            ++clients;
        }
        startBlocking([this, client] { endUnless(client->secure(port), client); });
    }

private:
    // Ends the threads of the port.
    void stop() {
        for (std::size_t left = workers.size(); left > 0; --left) {
            platform::PostQueuedCompletionStatus(port, 0, 0, nullptr);
        }
        workers.clear();
        platform::CloseHandle(port);
    }

    // A thread of the port.
    void work() {
        for (;;) {
            DWORD count = 0;
            ULONG_PTR key = 0;
            OVERLAPPED* overlapped = nullptr;
            platform::GetQueuedCompletionStatus(port, &count, &key, &overlapped,
                                                platform::INFINITE);
            if (key == 0) {
                return;
            }
            auto* const client = reinterpret_cast<Client*>(key);
            if (client->isWritable()) {
                endUnless(client->serve(), client);
            } else {
                startBlocking([this, client] { endUnless(client->serve(), client); });
            }
        }
    }

    // Without an end another thread may serve the client already.
    void endUnless(bool isOpen, Client* client) {
        if (!isOpen) {
            delete client;
            const std::lock_guard lock(mutex);
            --clients;
            changed.notify_one();
        }
    }

    // Runs the step on a thread of its own, or on this one if the system has no more.
    template <typename Step>
    void startBlocking(Step step) {
        try {
            startThread(step);
        } catch (const std::exception&) {
            step();
        }
    }

    template <typename Step>
    void startThread(Step step) {
        const std::lock_guard lock(mutex);
        ended.clear(); // joins them
        std::list<std::jthread> started(1);
        const auto thread = started.begin();
        *thread = std::jthread([this, thread, step] {
            step();
            const std::lock_guard retiring(mutex);
            ended.splice(ended.end(), blocking, thread);
            changed.notify_one();
        });
        blocking.splice(blocking.end(), started);
    }

    HANDLE port;
    std::vector<std::jthread> workers;
    std::mutex mutex;
    std::condition_variable changed;
    int clients = 0;
    std::list<std::jthread> blocking;
    std::list<std::jthread> ended;
};

} // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::cerr << "overlapped_server PORT INI-FILE CONNECTION CERTIFICATES CLIENTS\n";
        return 1;
    }
    std::ios::sync_with_stdio(false);
    try {
        LockedLog log;
        platform::setCertificateFolder(argv[4]);
        const auto config =
            constructSslConfigurationFromIniFile(log, argv[2], convertNarrowToWide(argv[3]));
        const auto plain =
            instantiateSocketStrategy(log, *constructDefaultSslConfiguration(log, L"listener"));
        const SOCKET listener = listenLocally(*plain, argv[1]);
        Server server;
        std::cout << "port " << portOf(listener) << std::endl;
        for (int left = std::stoi(argv[5]); left > 0; --left) {
            auto client = std::make_unique<Client>(log, *config);
            if (client->accept(listener)) {
                server.start(std::move(client));
            }
        }
        platform::closesocket(listener);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << " (the log may have the reason)\n";
        return 1;
    }
}
