#include "ConnectCommand.h"

#include "Conversation.h"
#include "HostNetwork.h"

#include <memory>

namespace VexaSsl::tool {

namespace {

void resolve(ISocketStrategy& strategy, const Endpoint& target, AddressList& addresses) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    const int error =
        strategy.getaddrinfo(target.host.c_str(), target.port.c_str(), &hints, addresses.receive());
    if (error != 0 || addresses.first() == nullptr) {
        throw Failure(ExitStatus::CannotConnect, "cannot resolve [" + target.host + "]");
    }
}

[[noreturn]] void refuse(const Endpoint& target, int error) {
    const ExitStatus status =
        error == WSAETIMEDOUT ? ExitStatus::TimedOut : ExitStatus::CannotConnect;
    throw Failure(status, "cannot connect to " + target.text() + ": " + socketErrorText(error));
}

// Connects and runs the handshake on one address. Result: 0, or the socket error of an address that
// didn't answer. Throws Failure when time is up or the handshake failed: the next address would be
// the same peer.
int connectTo(ISocketStrategy& strategy, const ToolLog& log, const Endpoint& target,
              const addrinfo& address, const Watchdog::Guard& guard, SOCKET s) {
    if (strategy.connect(s, address.ai_addr, static_cast<int>(address.ai_addrlen)) == 0) {
        return 0;
    }
    const int error = platform::WSAGetLastError();
    if (guard.expired()) {
        throw Failure(ExitStatus::TimedOut, "timed out connecting to " + target.text());
    }
    const Diagnosis diagnosis = log.diagnosis();
    if (diagnosis.status() != ExitStatus::Well) {
        throw Failure(diagnosis.status(), target.text() + ": " + causeText(diagnosis));
    }
    return error;
}

} // namespace

ExitStatus runConnect(const ConnectOptions& options) {
    const Endpoint target = parseEndpoint(options.target);
    LinePrinter printer;
    const LoadedConfiguration configuration(options.connection, printer);
    ToolLog log(printer);
    Watchdog watchdog;
    const auto strategy = makeStrategy(log, configuration.config());
    AddressList addresses;
    resolve(*strategy, target, addresses);

    int error = 0;
    for (const addrinfo* address = addresses.first(); address != nullptr;
         address = address->ai_next) {
        const OwnedSocket socket(platform::socket(address->ai_family, SOCK_STREAM, 0));
        if (!socket.valid()) {
            error = platform::WSAGetLastError();
            continue;
        }
        Watchdog::Guard guard(watchdog, socket.get(), options.connection.timeout());
        error = connectTo(*strategy, log, target, *address, guard, socket.get());
        if (error == 0) {
            Conversation(*strategy, socket.get(), log, guard).run();
            return ExitStatus::Well;
        }
    }
    refuse(target, error);
}

Command connectCommand() {
    const auto options = std::make_shared<ConnectOptions>();
    return {
        .name = "connect",
        .summary = "Send standard input to a peer and print what it sends, until it closes",
        .flags = Flags{{.name = "target",
                        .value = "HOST:PORT",
                        .text = "The peer, an IPv6 address as [::1]:443",
                        .target = &options->target,
                        .required = true}} +
                 connectionFlags(options->connection),
        .examples = {{"vexassl connect localhost:4433 --ini vexassl.ini --connection Secure",
                      "Talks to a server as the connection Secure is configured"}},
        .notes = "",
        .run = [options] { return runConnect(*options); },
    };
}

} // namespace VexaSsl::tool
