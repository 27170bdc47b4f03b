#include "ServeCommand.h"

#include "OwnedEvent.h"
#include "StopSignal.h"

#include <cstdio>
#include <exception>
#include <list>
#include <memory>

namespace VexaSsl::tool {

namespace {

// How long the accept loop rests when the system is out of sockets or threads.
constexpr DWORD restMilliseconds = 100;

// Finds a missing certificate, an unreadable key or a bad option before the first client does. A
// stack remembers the socket of an AcceptEx even when the call fails, and completeAcceptEx makes
// the server's credentials before it reads anything. So with a socket that was never connected it
// goes just that far, and without encryption it does nothing.
void checkOwnSide(const IConfig& config, LinePrinter& printer) {
    ToolLog log(printer);
    log.silence();
    const auto strategy = makeStrategy(log, config);
    const OwnedSocket unconnected(platform::socket(AF_INET, SOCK_STREAM, 0));
    std::array<char, 2 * (sizeof(sockaddr_storage) + 16)> addresses{};
    DWORD received = 0;
    OVERLAPPED state{};
    constexpr DWORD room = sizeof(sockaddr_storage) + 16;
    strategy->AcceptEx(INVALID_SOCKET, unconnected.get(), addresses.data(), 0, room, room,
                       &received, &state);
    strategy->completeAcceptEx();
    const Diagnosis diagnosis = log.diagnosis();
    if (diagnosis.status() == ExitStatus::Usage ||
        diagnosis.status() == ExitStatus::OwnCertificate) {
        throw Failure(diagnosis.status(), causeText(diagnosis));
    }
}

class Server {
public:
    Server(const Service& sharedService, Listener listeningSocket)
        : service(sharedService), listener(std::move(listeningSocket)) {}

    // From any thread.
    void stop() { stopRequested.set(); }

    void run() {
        while (acceptOne()) {
            reap();
        }
        listener.socket.close();
        service.watchdog.endAll();
        connections.clear();
    }

private:
    enum class Wait { Accepted, Stopped };

    // Result: false when the server is to stop. Closing the listener, which the caller then does,
    // aborts the accept that is still posted. A want of memory or threads costs one connection,
    // never the others.
    bool acceptOne() {
        try {
            return acceptNext();
        } catch (const std::exception& error) {
            service.printer.print(std::string("vexassl: connection dropped: ") + error.what());
            return rest();
        }
    }

    bool acceptNext() {
        pending = std::make_unique<ServedConnection>(service, ++lastNumber, listener.family);
        acceptCompleted.reset();
        if (!pending->valid() ||
            !pending->postAccept(listener.socket.get(), acceptCompleted.get())) {
            return rest();
        }
        if (!waitForAccept()) {
            return false;
        }
        if (!pending->accepted(listener.socket.get())) {
            return rest();
        }
        connections.push_back(std::move(pending));
        try {
            connections.back()->start([this] { connectionEnded.set(); });
        } catch (const std::exception&) {
            connections.pop_back();
            throw;
        }
        return true;
    }

    // Joins ended connections meanwhile. Result: false when the server is to stop.
    bool waitForAccept() {
        const HANDLE events[] = {stopRequested.get(), acceptCompleted.get(), connectionEnded.get()};
        while (true) {
            const DWORD woken =
                platform::WSAWaitForMultipleEvents(3, events, FALSE, platform::WSA_INFINITE, FALSE);
            if (woken == platform::WSA_WAIT_EVENT_0 + 2) {
                reap();
                continue;
            }
            return woken == platform::WSA_WAIT_EVENT_0 + 1;
        }
    }

    bool rest() {
        pending.reset();
        const HANDLE events[] = {stopRequested.get()};
        return platform::WSAWaitForMultipleEvents(1, events, FALSE, restMilliseconds, FALSE) ==
               platform::WSA_WAIT_TIMEOUT;
    }

    void reap() {
        connectionEnded.reset();
        connections.remove_if([](const auto& connection) { return connection->finished(); });
    }

    const Service& service;
    Listener listener;
    OwnedEvent stopRequested;
    OwnedEvent acceptCompleted;
    OwnedEvent connectionEnded;
    std::unique_ptr<ServedConnection> pending;
    std::list<std::unique_ptr<ServedConnection>> connections;
    unsigned long lastNumber = 0;
};

} // namespace

ExitStatus runServe(const ServeOptions& options) {
    LinePrinter printer;
    const LoadedConfiguration configuration(options.connection, printer);
    checkOwnSide(configuration.config(), printer);
    Listener listener = listenOn({options.listenAddress, std::to_string(options.port)});
    const std::string address = localAddressText(listener.socket.get());

    // Before the watchdog, whose thread must leave the signals alone too.
    Server* server = nullptr;
    OwnedEvent serverMade;
    StopSignal signals([&] {
        const HANDLE events[] = {serverMade.get()};
        platform::WSAWaitForMultipleEvents(1, events, FALSE, platform::WSA_INFINITE, FALSE);
        server->stop();
    });
    Watchdog watchdog;
    const Service service{options, configuration.config(), printer, watchdog};
    Server made(service, std::move(listener));
    server = &made;
    serverMade.set();

    std::printf("listening on %s\n", address.c_str());
    std::fflush(stdout);
    made.run();
    return ExitStatus::Well;
}

Command serveCommand() {
    const auto options = std::make_shared<ServeOptions>();
    return {
        .name = "serve",
        .summary = "Echo what clients send, or answer HTTP GET, until SIGTERM or SIGINT",
        .flags =
            Flags{{.name = "--port",
                   .value = "N",
                   .text = "Port to listen on; 0 takes a free one",
                   .target = &options->port,
                   .required = true,
                   .highest = 65535},
                  {"--listen", "ADDRESS", "Address to listen on", &options->listenAddress},
                  {"--www", "", "Answer HTTP GET with a page of connection facts", &options->web},
                  {"--overlapped", "", "Receive by overlapped operations", &options->overlapped}} +
            connectionFlags(options->connection),
        .examples = {{"vexassl serve --port 4433 --ini vexassl.ini --connection Secure",
                      "Echoes on port 4433 of this machine as the connection Secure is configured"},
                     {"vexassl serve --port 0 --www",
                      "Answers browsers in plain text on a free port, which it prints"}},
        .notes = "It prints \"listening on ADDRESS:PORT\" when it is ready.\n",
        .run = [options] { return runServe(*options); },
    };
}

} // namespace VexaSsl::tool
