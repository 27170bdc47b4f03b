// The example hosts as programs.
#pragma once

#include "tool/Tool.h"

#include <string>

namespace VexaSsl::test {

// The ini file of a configuration.
std::string iniFile(const Words& configuration);

// The path of an example's program.
std::string example(const std::string& program);

// One that serves so many clients, ready. port "0" chooses a free one.
class RunningHost {
public:
    explicit RunningHost(const Words& configuration, const std::string& name = "server_host",
                         int clients = 1, const std::string& port = "0");

    const std::string& port() const { return portText; }
    Command& command() { return program; }

private:
    Command program;
    std::string portText;
};

} // namespace VexaSsl::test
