// Helpers of the tests across systems: the tool of a system, its configuration, and a running
// server. All are processes; the Windows ones run under Wine.
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

// Returns the system for the name of a test.
std::string nameOf(System system);
inline std::ostream& operator<<(std::ostream& out, System system) {
    return out << nameOf(system);
}
inline System otherThan(System system) {
    return system == System::linuxSystem ? System::windowsSystem : System::linuxSystem;
}

// Returns why the program can't be started under Wine; empty when it can.
std::string whyNoWindows(const std::string& program);

// Skips the test when the Windows programs or Wine are missing.
#define VEXASSL_NEEDS_WINDOWS(program)                                                             \
    if (const std::string reason = VexaSsl::test::whyNoWindows(program); !reason.empty()) {        \
        GTEST_SKIP() << reason;                                                                    \
    }                                                                                              \
    static_assert(true)

// Returns a file of the test certificates; kind is cert, key or chain.
std::string certificateFile(const std::string& name, const std::string& kind);
std::string authorityFile();

using Options = std::map<std::string, std::string>;
Options secure(Options more = {});
Options sending(const std::string& certificate, Options more = {});

// Returns the beginning of the command line of a program of the system.
Words program(System system, const std::string& name);
// Returns the command line of vexassl with a configuration of these options.
Words tool(System system, const Words& command, const Options& options);
// Returns the two arguments of a host that reads the configuration.
Words iniAndConnection(System system, const Options& options);

// A server that has printed its port.
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
