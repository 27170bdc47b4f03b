// vexassl: connections by the library from the command line.
#include "ConnectCommand.h"
#include "ExitStatus.h"
#include "ProcessSetup.h"
#include "ServeCommand.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <string>

namespace {

using namespace VexaSsl::tool;

int ended(ExitStatus status) {
    return static_cast<int>(status);
}

// A line for a user: an argument of theirs may hold a line end.
int failed(ExitStatus status, std::string text) {
    for (char& c : text) {
        c = c == '\n' || c == '\r' ? ' ' : c;
    }
    std::fprintf(stderr, "vexassl: %s\n", text.c_str());
    return ended(status);
}

void addConnectionOptions(CLI::App& command, ConnectionOptions& options) {
    auto* ini = command.add_option("--ini", options.iniFile,
                                   "Ini file that names the configuration store; without it the "
                                   "defaults hold, which mean plain sockets");
    command
        .add_option("--connection", options.connectionName,
                    "Connection name to look up in the store")
        ->capture_default_str()
        ->needs(ini);
    command.add_option("--certificates", options.certificates,
                       "Folder of certificates, with my/ and root/ in it");
    command
        .add_option("--timeout", options.timeoutSeconds,
                    "Seconds for the handshake, and for the peer's silence after it; 0 waits for "
                    "ever")
        ->capture_default_str()
        ->check(CLI::Range(0U, 1000000U));
}

CLI::App* addServe(CLI::App& app, ServeOptions& options) {
    CLI::App* command = app.add_subcommand(
        "serve", "Echo what clients send, or answer HTTP GET, until SIGTERM or SIGINT");
    command->add_option("--port", options.port, "Port to listen on; 0 takes a free one")
        ->required()
        ->check(CLI::Range(0U, 65535U));
    command->add_option("--listen", options.listenAddress, "Address to listen on")
        ->capture_default_str();
    command->add_flag("--www", options.web, "Answer HTTP GET with a page of connection facts");
    command->add_flag("--overlapped", options.overlapped, "Receive by overlapped operations");
    addConnectionOptions(*command, options.connection);
    return command;
}

CLI::App* addConnect(CLI::App& app, ConnectOptions& options) {
    CLI::App* command = app.add_subcommand(
        "connect", "Send standard input to a peer and print what it sends, until it closes");
    command->add_option("target", options.target, "HOST:PORT, an IPv6 address as [::1]:443")
        ->required();
    addConnectionOptions(*command, options.connection);
    return command;
}

int run(int argc, char** argv) {
    CLI::App app("Talks and serves TLS or plain text as a configuration file says.", "vexassl");
    app.footer(exitStatusHelp);
    app.require_subcommand(1);
    ServeOptions serveOptions;
    ConnectOptions connectOptions;
    CLI::App* serve = addServe(app, serveOptions);
    CLI::App* connect = addConnect(app, connectOptions);
    serve->footer(exitStatusHelp);
    connect->footer(exitStatusHelp);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& helpAsked) {
        return app.exit(helpAsked);
    } catch (const CLI::ParseError& error) {
        return failed(ExitStatus::Usage, std::string(error.what()) + " (see vexassl --help)");
    }
    return ended(serve->parsed() ? runServe(serveOptions) : runConnect(connectOptions));
}

} // namespace

int main(int argc, char** argv) {
    try {
        setUpProcess();
        return run(argc, argv);
    } catch (const Failure& failure) {
        return failed(failure.status, failure.what());
    } catch (const std::exception& error) {
        return failed(ExitStatus::Usage, error.what());
    }
}
