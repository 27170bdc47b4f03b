#include "connect/ConnectCommand.h"

#include "common/HostNames.h"
#include "common/HostNetwork.h"
#include "common/SocketSetup.h"
#include "connect/ConnectHint.h"
#include "connect/ConnectReport.h"
#include "connect/Conversation.h"
#include "starttls/OtlsSwitch.h"
#include "starttls/Protocols.h"
#include "target/TargetSockets.h"

#include <exception>
#include <memory>
#include <string>

namespace VexaSsl::tool {

namespace {

// One connection to the target.
class Call {
public:
    Call(const ConnectOptions& options, const Endpoint& target, const IConfig& config,
         LinePrinter& printer)
        : options(options), target(target), report(printer), log(printer),
          strategy(makeStrategy(
              log, [&] { return makeTargetStrategy(log, config, target.host, handshake); })) {}

    void run() {
        AddressList addresses;
        resolve(*strategy, target, addresses, options.tls.name);
        int error = 0;
        for (const addrinfo* address = addresses.first(); address != nullptr;
             address = address->ai_next) {
            error = callAddress(*address);
            if (error == 0) {
                return;
            }
        }
        const ExitStatus status =
            error == WSAETIMEDOUT ? ExitStatus::TimedOut : ExitStatus::CannotConnect;
        throw Failure(status, "cannot connect to " + target.text() + ": " + socketErrorText(error));
    }

private:
    // Returns 0 after the whole conversation, or the socket error of an address that didn't answer.
    int callAddress(const addrinfo& address) {
        const OwnedSocket socket(platform::socket(address.ai_family, SOCK_STREAM, 0));
        if (!socket.valid()) {
            return platform::WSAGetLastError();
        }
        sendAtOnce(socket.get());
        handshake.start();
        Watchdog::Guard guard(watchdog, socket.get(), options.connection.timeout());
        if (strategy->connect(socket.get(), address.ai_addr,
                              static_cast<int>(address.ai_addrlen)) != 0) {
            return judgeConnect(platform::WSAGetLastError(), guard);
        }
        if (!options.startTls.empty()) {
            switchOver(socket.get(), guard);
        }
        talk(socket.get(), guard);
        return 0;
    }

    // Throws Failure after a timeout or a failed handshake: the next address would be the same
    // peer.
    int judgeConnect(int error, const Watchdog::Guard& guard) const {
        if (guard.expired()) {
            throw Failure(ExitStatus::TimedOut, "timed out connecting to " + target.text());
        }
        const Diagnosis diagnosis = log.diagnosis();
        if (diagnosis.status() != ExitStatus::Success) {
            throw Failure(diagnosis.status(), target.text() + ": " + causeText(diagnosis));
        }
        return error;
    }

    // The STARTTLS dialog and the handshake share one period.
    void switchOver(SOCKET s, const Watchdog::Guard& guard) {
        try {
            requestTls(options.startTls, *strategy, s);
        } catch (const Failure&) {
            if (guard.expired()) {
                throw Failure(ExitStatus::TimedOut,
                              "timed out agreeing on TLS with " + target.text());
            }
            throw;
        }
        handshake.start();
        if (!switchToTls(*strategy)) {
            judgeConnect(0, guard);
            throw Failure(ExitStatus::Handshake, target.text() + ": no secure connection");
        }
    }

    void talk(SOCKET s, Watchdog::Guard& guard) {
        report.connected(target.text(), peerAddressText(s), connectionSummary(*strategy));
        const auto input = makeInput();
        // A blocking recv that reads the peer's closure discards what it took before, and would
        // lose a response whose closure follows one read later.
        const auto receiver = makeOverlappedReceiver(*strategy, s);
        const AtInputEnd then = options.keepOpen ? AtInputEnd::KeepOpen
                                : handshake.certificateRequested()
                                    ? AtInputEnd::ShutDownAfterAMoment
                                    : AtInputEnd::ShutDown;
        Conversation conversation(*strategy, s, log, guard, *input, then, *receiver);
        try {
            conversation.run();
        } catch (const Failure& failure) {
            const bool isOfAnEnd =
                failure.status == ExitStatus::CutShort || log.diagnosis().peerSentAlert();
            if (!isOfAnEnd || !isRefused(conversation)) {
                throw;
            }
        }
        if (isRefused(conversation)) {
            throw Failure(ExitStatus::RefusedByPeer,
                          "the peer refused our certificate, or wants one: it asked for one, and "
                          "ended the connection without sending a byte");
        }
    }

    // Some servers judge a certificate after their last handshake message, and just close.
    bool isRefused(const Conversation& conversation) const {
        return handshake.certificateRequested() && conversation.endedUnheard();
    }

    std::unique_ptr<ConversationInput> makeInput() {
        if (!options.sendFile.empty()) {
            return makeFileInput(options.sendFile, report.sentReport());
        }
        return options.count == 1 ? makeStandardInput() : makeNoInput();
    }

    const ConnectOptions& options;
    const Endpoint& target;
    ConnectReport report;
    ToolLog log;
    HandshakeWatch handshake;
    Watchdog watchdog;
    std::unique_ptr<ISocketStrategy> strategy;
};

void warnOfPlainText(const ConnectOptions& options, const IConfig& config, LinePrinter& printer) {
    warnOfClearText(options.connection, config, printer);
    if (options.connection.iniFile.empty() && !options.tls.enabled) {
        printer.note("plain-text", "there is neither --tls nor --ini: this is plain text");
    }
}

ExitStatus makeCalls(const ConnectOptions& options, LinePrinter& printer) {
    const Endpoint target = parseEndpoint(options.target);
    LoadedConfiguration configuration(options.connection, printer);
    const AddedCertificates added(options.tls.files);
    if (options.tls.enabled) {
        configureDirectTls(options.tls, !options.startTls.empty(), configuration.config());
    }
    if (options.startTls.empty()) {
        warnOfPlainText(options, configuration.config(), printer);
    } else {
        requireSwitchable(configuration.config());
    }
    if (!options.sendFile.empty()) {
        makeFileInput(options.sendFile); // report an unreadable file before connecting
    }
    for (unsigned made = 0; made < options.count; ++made) {
        Call(options, target, configuration.config(), printer).run();
    }
    return ExitStatus::Success;
}

std::string hint(const ConnectOptions& options, const Failure& failure,
                 const LinePrinter& printer) {
    const std::string command =
        printer.isQuiet() ? std::string() : hintFor(options, failure.status);
    return command.empty() ? command : "this shows why: " + command;
}

} // namespace

ExitStatus runConnect(const ConnectOptions& asked) {
    ConnectOptions options = asked;
    options.tls.name = asciiHostName(asked.tls.name).value_or(asked.tls.name);
    if (options.tls.enabled) {
        options.connection.connectionName = directConnectionName;
    }
    if (!options.json) {
        LinePrinter printer(LinePrinter::Form::Prose, options.connection.verbosity());
        try {
            return makeCalls(options, printer);
        } catch (Failure& failure) {
            failure.note = hint(options, failure, printer);
            throw;
        }
    }
    LinePrinter printer(LinePrinter::Form::Json, options.connection.verbosity());
    try {
        return makeCalls(options, printer);
    } catch (const Failure& failure) {
        if (const std::string note = hint(options, failure, printer); !note.empty()) {
            printer.note("hint", note);
        }
        return ConnectReport(printer).failed(failure.status, failure.what());
    } catch (const std::exception& error) {
        return ConnectReport(printer).failed(ExitStatus::Usage, error.what());
    }
}

Command connectCommand() {
    const auto options = std::make_shared<ConnectOptions>();
    return {
        .name = "connect",
        .summary = "Send standard input to a peer and print what it sends until it closes",
        .flags =
            Flags{
                {.name = "target",
                 .value = "HOST:PORT",
                 .text = "The peer; an IPv6 address as [::1]:443",
                 .target = &options->target,
                 .required = true},
                {.name = "--starttls",
                 .value = "PROTOCOL",
                 .text = "Begin in the clear, ask the server for TLS in this protocol, and switch",
                 .target = &options->startTls,
                 .words = startTlsProtocols()},
                {"--send", "FILE",
                 "Send this file instead of standard input, and show the progress on a terminal",
                 &options->sendFile},
                {"--keep-open", "",
                 "Leave the sending side open at the end of the input, for a peer that does not "
                 "answer otherwise",
                 &options->keepOpen},
                {.name = "--count",
                 .value = "N",
                 .text = "Make this number of connections, one after another; with more than "
                         "one, standard input is not read",
                 .target = &options->count,
                 .lowest = 1},
                {"--json", "", "Write standard error as lines of JSON", &options->json}} +
            directTlsFlags(options->tls) + connectionFlags(options->connection),
        .examples = {{"vexassl connect www.example.org:443 --tls",
                      "Connects to a server whose certificate this machine trusts"},
                     {"vexassl connect localhost:4433 --ini vexassl.ini --connection Secure",
                      "Connects as the connection Secure is configured"},
                     {"vexassl connect mail.example.org:587 --starttls smtp --ini vexassl.ini "
                      "--connection Mail",
                      "Connects to a mail server and switches to TLS; the connection Mail is "
                      "configured with "
                      "UseEncryption=Opportunistically"},
                     {"vexassl connect localhost:4433 --ini vexassl.ini --connection Secure "
                      "--send big.bin",
                      "Sends a file"}},
        .notes =
            "On a secured connection one line on standard error shows the cipher suite and the "
            "peer's certificate.\n",
        .run = [options] { return runConnect(*options); },
    };
}

} // namespace VexaSsl::tool
