// Servers of others that offer a switch to TLS, each started on loopback with files of its own and
// ended with the object. Nothing of the machine's own servers is touched.
#pragma once

#include "tool/Command.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

// Ends the test, with a message, where something is not installed.
#define VEXASSL_NEEDS_PROGRAM(program)                                                             \
    if (!VexaSsl::test::isInstalled(program)) {                                                    \
        GTEST_SKIP() << program << " is not installed";                                            \
    }                                                                                              \
    static_assert(true)
#define VEXASSL_NEEDS_FILE(file)                                                                   \
    if (!std::filesystem::exists(file)) {                                                          \
        GTEST_SKIP() << (file) << " is not installed";                                             \
    }                                                                                              \
    static_assert(true)

namespace VexaSsl::test {

// Looked up in the path and where system administration's programs lie.
bool isInstalled(const std::string& program);

// Dovecot: mail submission, IMAP and POP3.
class ForeignMailServer {
public:
    ForeignMailServer();
    ~ForeignMailServer();

    std::uint16_t submissionPort() const { return ports[0]; }
    std::uint16_t imapPort() const { return ports[1]; }
    std::uint16_t pop3Port() const { return ports[2]; }

private:
    std::uint16_t ports[3];
    std::unique_ptr<Command> program;
};

// slapd, without any entries but the one that describes it.
class ForeignDirectory {
public:
    ForeignDirectory();
    ~ForeignDirectory();

    std::uint16_t port() const { return boundPort; }

private:
    std::uint16_t boundPort;
    std::unique_ptr<Command> program;
};

// PostgreSQL with a fresh database that trusts everybody.
class ForeignDatabase {
public:
    enum class Tls { on, off };

    explicit ForeignDatabase(Tls tls = Tls::on);
    ~ForeignDatabase();

    std::uint16_t port() const { return boundPort; }

private:
    std::uint16_t boundPort;
    std::unique_ptr<Command> program;
};

// A program of the newest version that is installed; a path that doesn't exist when none is
// installed.
std::filesystem::path postgresProgram(const std::string& name);

} // namespace VexaSsl::test
