#include "tool/ExampleHost.h"

#include <gtest/gtest.h>

#include <string>

namespace VexaSsl::test {

std::string iniFile(const Words& configuration) {
    return configuration[1];
}

std::string example(const std::string& program) {
    return std::string(VEXASSL_EXAMPLES) + "/" + program;
}

RunningHost::RunningHost(const Words& configuration, const std::string& name, int clients,
                         const std::string& port)
    : program({example(name), port, iniFile(configuration), "Tested", pki::folder().string(),
               std::to_string(clients)}) {
    EXPECT_TRUE(program.shows("port ")) << program.errors();
    EXPECT_TRUE(program.shows("\n"));
    const std::string output = program.output();
    portText = std::to_string(std::stoi(output.substr(output.find("port ") + 5)));
}

} // namespace VexaSsl::test
