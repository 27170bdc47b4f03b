// The words of the tests across systems: a system's tool, its configuration, and a server of it
// that is ready. Everything is a process; the Windows ones run under Wine.
#pragma once

#include "tool/Command.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <ostream>
#include <string>

namespace VexaSsl::test {

enum class System { linuxSystem, windowsSystem };

// As part of a test's name.
std::string nameOf(System system);
inline std::ostream& operator<<(std::ostream& out, System system) {
    return out << nameOf(system);
}
inline System otherThan(System system) {
    return system == System::linuxSystem ? System::windowsSystem : System::linuxSystem;
}

// Why no program of that name can be started under Wine here; empty when it can.
std::string whyNoWindows(const std::string& program);

// Ends the test as skipped where the Windows programs or Wine are not there.
#define VEXASSL_NEEDS_WINDOWS(program)                                                             \
    if (const std::string reason = VexaSsl::test::whyNoWindows(program); !reason.empty()) {        \
        GTEST_SKIP() << reason;                                                                    \
    }                                                                                              \
    static_assert(true)

// A file of the tests' certificates: kind is cert, key or chain.
std::string certificateFile(const std::string& name, const std::string& kind);
std::string authorityFile();

using Options = std::map<std::string, std::string>;
Options secure(Options more = {});
Options sending(const std::string& certificate, Options more = {});

// The command line that begins a program of the system.
Words program(System system, const std::string& name);
// vexassl of the system, with the command and a configuration of these options.
Words tool(System system, const Words& command, const Options& options);
// The two arguments of a host that reads the configuration itself.
Words iniAndConnection(System system, const Options& options);

// A server that has said on which port it listens.
class Server {
public:
    explicit Server(const Words& command);
    std::uint16_t port() const { return boundPort; }
    std::string target() const { return "localhost:" + std::to_string(boundPort); }
    Command& command() { return program; }

private:
    Command program;
    std::uint16_t boundPort = 0;
};

Server serve(System system, const Options& options, const Words& more = {});

} // namespace VexaSsl::test
