// The words that the tests of the tool are written in: what a connection is configured to be, a
// server that is ready, and a client that talked.
#pragma once

#include "integration/support/Pki.h"
#include "tool/Command.h"

#include <cstdint>
#include <map>
#include <string>

namespace VexaSsl::test {

using Options = std::map<std::string, std::string>;

// The arguments that give the tool a configuration of these options, through an ini file and a
// store, and the certificates of the tests.
Words configured(const Options& options);
Words plainText();
// A server that sends the certificate whose subject holds the name.
Words secureServer(const std::string& certificate = pki::localhost, const Options& more = {});
Words secureClient(const Options& more = {});

// A running vexassl serve on a free port.
class RunningServer {
public:
    // before: what starts the tool, for instance strace with its arguments.
    explicit RunningServer(const Words& arguments, const Words& before = {});

    std::uint16_t port() const { return boundPort; }
    std::string target(const std::string& host = "localhost") const;
    Command& command() { return program; }

private:
    Command program;
    std::uint16_t boundPort = 0;
};

// openssl s_server on a free port, sending every line back reversed.
class ForeignServer {
public:
    explicit ForeignServer(const Words& more, const std::string& version = "-tls1_2");

    std::string target() const { return "localhost:" + std::to_string(boundPort); }

private:
    Command program;
    int boundPort = 0;
};

// vexassl connect.
Words connectTo(const std::string& target, const Words& arguments = {});

// What connect says where nothing was asked for: the one line of a connection in the clear.
inline const std::string plainTextNote =
    "vexassl: note: there is neither --tls nor --ini: this is plain text\n";

struct Outcome {
    int status = -1;
    std::string output;
    std::string errors;
};
// Runs vexassl with these arguments to its end.
Outcome runTool(const Words& arguments, const Command::Input& input = Command::Input::none());
Outcome runToEnd(Command& command);

// What goes before a command that must not read files without permission. Root reads every file, so
// these words take that capability away from it; it stays the owner of what the test made.
Words boundByPermissions();

// How many lines of stderr are failures: the tool's own, except its notes. A failed command has
// one.
int failureLines(const std::string& errors);

} // namespace VexaSsl::test
