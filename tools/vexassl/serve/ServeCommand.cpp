#include "serve/ServeCommand.h"

#include "common/ProcessSetup.h"
#include "common/StopSignal.h"
#include "common/Text.h"
#include "config/Vocabulary.h"
#include "serve/ForcedExit.h"
#include "serve/Server.h"
#include "serve/StartCheck.h"
#include "starttls/OtlsSwitch.h"

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

namespace VexaSsl::tool {

namespace {

namespace Options = ConfigurationDefinition::ConnectionOptions;

void expectClient(const ServeOptions& options, IConfig& config) {
    if (options.expectClient.empty()) {
        return;
    }
    if (isPlain(config) || (options.startTls.empty() && isOpportunistic(config))) {
        throw Failure(ExitStatus::Usage,
                      "--expect-client needs a configuration with encryption (with --starttls when "
                      "it says Opportunistically): clear text has no certificates");
    }
    config.setValue(Options::RequireClientAuthentication, ConfigurationDefinition::Values::True);
    config.setValue(Options::AcceptableClientCertificateToReceiveNames,
                    widenedBytes(options.expectClient));
}

// Checks everything that doesn't need a client.
void prepare(const ServeOptions& options, IConfig& config, LinePrinter& printer) {
    expectClient(options, config);
    const bool clientsCanSwitch = !options.startTls.empty();
    if (clientsCanSwitch) {
        requireSwitchable(config);
    } else {
        warnOfClearText(options.connection, config, printer);
    }
    checkStart(config, clientsCanSwitch, printer);
}

// Further peers wait in the listener's queue; they must not use the descriptors that the
// connections already accepted need.
ServeOptions fittedToSystem(ServeOptions options, LinePrinter& printer) {
    // Standard streams, listener, events, the next connection, and files that are read for a
    // connection.
    constexpr std::size_t shared = 40;
    // A thread that waits for an overlapped receive of its own needs a descriptor.
    const std::size_t each = options.overlapped && !options.usesPort() ? 2 : 1;
    const std::size_t allowed = allowDescriptors(shared + each * options.maximumConnections);
    const std::size_t room = allowed > shared + each ? (allowed - shared) / each : 1;
    if (room < options.maximumConnections) {
        options.maximumConnections = static_cast<unsigned>(room);
        printer.note("few-descriptors",
                     "at most " + std::to_string(room) +
                         " connections at once: the system grants this process " +
                         std::to_string(allowed) + " open files");
    }
    return options;
}

} // namespace

ExitStatus runServe(const ServeOptions& asked) {
    LinePrinter printer(LinePrinter::Form::Prose, asked.connection.verbosity());
    LoadedConfiguration configuration(asked.connection, printer);
    prepare(asked, configuration.config(), printer);
    const ServeOptions options = fittedToSystem(asked, printer);
    Listener listener =
        listenOn({withoutBrackets(options.listenAddress), std::to_string(options.port)});
    const std::string address = localAddressText(listener.socket.get());

    // Before other threads start, since they inherit the mask of signals.
    OwnedEvent stop;
    const StopSignal signals([&stop] { stop.set(); });
    const ForcedExit forcedExit(stop);
    Watchdog watchdog;
    ServeReport report(printer, options.json);
    const Service service{options, configuration.config(), printer, report, watchdog};
    Server server(service, std::move(listener), stop);

    report.listening(address);
    const ExitStatus status = server.run();
    if (!report.isComplete()) {
        throw Failure(ExitStatus::Usage, "cannot write to standard output");
    }
    return status;
}

Command serveCommand() {
    const auto options = std::make_shared<ServeOptions>();
    return {
        .name = "serve",
        .summary = "Echo what clients send, answer HTTP GET, or receive mail",
        .flags =
            Flags{{.name = "--port",
                   .value = "N",
                   .text = "Port to listen on; 0 chooses a free one",
                   .target = &options->port,
                   .required = true,
                   .highest = 65535},
                  {"--listen", "ADDRESS", "Address to listen on", &options->listenAddress},
                  {"--www", "", "Answer HTTP GET with a page of connection facts", &options->web},
                  {.name = "--starttls",
                   .value = "PROTOCOL",
                   .text = "Begin in the clear and switch to TLS when the client asks for it in "
                           "this protocol; mail is discarded",
                   .target = &options->startTls,
                   .words = {"smtp"},
                   .excludes = "--www"},
                  {"--overlapped", "",
                   "Use overlapped receives, at a completion port with a thread for each core",
                   &options->overlapped},
                  {"--expect-client", "NAMES",
                   "Require a trusted client certificate with one of these names, separated by "
                   "commas; Any accepts every name",
                   &options->expectClient},
                  {.name = "--count",
                   .value = "N",
                   .text = "End after this number of connections, with the status of the first "
                           "that failed; 0 means no limit",
                   .target = &options->count},
                  {.name = "--max-connections",
                   .value = "N",
                   .text = "Largest number of connections at once; more wait in the system's queue",
                   .target = &options->maximumConnections,
                   .lowest = 1,
                   .highest = 100000},
                  {"--json", "", "Print the address, connections and messages as lines of JSON",
                   &options->json}} +
            connectionFlags(options->connection),
        .examples = {{"vexassl serve --port 4433 --ini vexassl.ini --connection Secure",
                      "Echoes on port 4433 of this machine as the connection Secure is configured"},
                     {"vexassl serve --port 0 --www",
                      "Answers browsers in plain text on a free port, which it prints"},
                     {"vexassl serve --port 2525 --starttls smtp --ini vexassl.ini "
                      "--connection Mail",
                      "Receives mail from clients that switch to TLS; the connection Mail is "
                      "configured with UseEncryption=Opportunistically"}},
        .notes =
            "Prints \"listening on ADDRESS:PORT\" when it is ready. Stops on SIGTERM and SIGINT.\n",
        .run = [options] { return runServe(*options); },
    };
}

} // namespace VexaSsl::tool
