// The foreign peers, each started with the certificates of the tests.
#pragma once

#include "integration/support/Pki.h"
#include "interop/Program.h"

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

// Ends the test, with a message, where a program is not installed.
#define VEXASSL_NEEDS(program)                                                                     \
    if (!VexaSsl::test::Program::installed(program)) {                                             \
        GTEST_SKIP() << program << " is not installed";                                            \
    }                                                                                              \
    static_assert(true)

namespace VexaSsl::test {

using Words = std::vector<std::string>;

// The options that give a case's certificate, chain and key to a peer.
Words openSslIdentity(const std::string& name);
Words gnuTlsIdentity(const std::string& name);
Words curlIdentity(const std::string& name);

// A peer that calls us: verifies the server against the authority and the name localhost, and says
// so. Our input and its output are the conversation.
std::unique_ptr<Program> openSslClient(std::uint16_t port, const Words& more = {});
std::unique_ptr<Program> gnuTlsClient(std::uint16_t port, const Words& more = {});
std::unique_ptr<Program> curl(std::uint16_t port, const Words& more = {});

// A suite that a peer is forced to, in the words of each peer, and a case that it works with.
struct Suite {
    std::string certificate;
    std::string openSsl;
    std::string gnuTls;

    friend std::ostream& operator<<(std::ostream& out, const Suite& suite) {
        return out << suite.openSsl;
    }
};

// A text as the name of a test may be.
std::string asTestName(std::string text);

// A peer that we call, listening on a free port.
struct ForeignServer {
    std::unique_ptr<Program> program;
    std::uint16_t port = 0;
};
// A conversation with its input and output; with -rev it sends every line back reversed.
ForeignServer openSslServer(const std::string& name, const Words& more = {});
// Sends back what it hears.
ForeignServer gnuTlsServer(const std::string& name, const Words& more = {});

} // namespace VexaSsl::test
