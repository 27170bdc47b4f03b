// The other TLS programs, started with the certificates of the tests.
#pragma once

#include "integration/support/Pki.h"
#include "interop/Program.h"

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

// Skips the test with a message when a program is not installed.
#define VEXASSL_NEEDS(program)                                                                     \
    if (!VexaSsl::test::Program::installed(program)) {                                             \
        GTEST_SKIP() << program << " is not installed";                                            \
    }                                                                                              \
    static_assert(true)

namespace VexaSsl::test {

using Words = std::vector<std::string>;

// Returns a program's options for the certificate, chain and key of a case.
Words openSslIdentity(const std::string& name);
Words gnuTlsIdentity(const std::string& name);
Words curlIdentity(const std::string& name);

// Starts a client that verifies the server with the authority and the name localhost and prints the
// result. Its input is sent, and what it receives is printed.
std::unique_ptr<Program> openSslClient(std::uint16_t port, const Words& more = {});
std::unique_ptr<Program> gnuTlsClient(std::uint16_t port, const Words& more = {});
std::unique_ptr<Program> curl(std::uint16_t port, const Words& more = {});

// A cipher suite by its name in each program, and a certificate case for it.
struct Suite {
    std::string certificate;
    std::string openSsl;
    std::string gnuTls;

    friend std::ostream& operator<<(std::ostream& out, const Suite& suite) {
        return out << suite.openSsl;
    }
};

// Returns the text as part of the name of a test.
std::string asTestName(std::string text);

// A server that listens on a free port.
struct ForeignServer {
    std::unique_ptr<Program> program;
    std::uint16_t port = 0;
};
// Sends its input and prints what it receives; with -rev it returns every line reversed.
ForeignServer openSslServer(const std::string& name, const Words& more = {});
// Echoes what it receives.
ForeignServer gnuTlsServer(const std::string& name, const Words& more = {});

} // namespace VexaSsl::test
