// The example hosts, hosts of the shared library as a user writes them, against each other and
// against the tool.
#include "tool/Tool.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

// The ini file of a configuration.
std::string iniFile(const Words& arguments) {
    return arguments[1];
}

Words clientHost(const std::string& port, const Words& configuration, const std::string& text) {
    return {VEXASSL_CLIENT_HOST,    "localhost", port, iniFile(configuration), "Tested",
            pki::folder().string(), text};
}

class RunningHost {
public:
    explicit RunningHost(const Words& configuration)
        : program({VEXASSL_SERVER_HOST, "0", iniFile(configuration), "Tested",
                   pki::folder().string(), "1"}) {
        EXPECT_TRUE(program.shows("port ")) << program.errors();
        EXPECT_TRUE(program.shows("\n"));
        const std::string output = program.output();
        portText = std::to_string(std::stoi(output.substr(output.find("port ") + 5)));
    }

    const std::string& port() const { return portText; }
    Command& command() { return program; }

private:
    Command program;
    std::string portText;
};

TEST(Examples, clientAndServerTalk) {
    RunningHost server(secureServer());
    Command client(clientHost(server.port(), secureClient(), "How do you do?"));
    EXPECT_EQ(client.exitStatus(), 0) << client.errors() << client.output();
    EXPECT_NE(client.output().find("How do you do?\n"), std::string::npos);
    EXPECT_NE(client.output().find("[Info] An encrypted connection has been successfully "
                                   "initialised on socket ["),
              std::string::npos)
        << client.output();
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
}

TEST(Examples, clientTalksToTheTool) {
    RunningServer server(secureServer());
    Command client(clientHost(std::to_string(server.port()), secureClient(), "Good morning"));
    EXPECT_EQ(client.exitStatus(), 0) << client.errors() << client.output();
    EXPECT_NE(client.output().find("Good morning\n"), std::string::npos);
}

TEST(Examples, toolTalksToTheServer) {
    RunningHost server(secureServer());
    const Outcome outcome = runTool(Words{"connect", "localhost:" + server.port()} + secureClient(),
                                    Command::Input::text("Good evening"));
    EXPECT_EQ(outcome.output, "Good evening") << outcome.errors;
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
}

TEST(Examples, distrustEndsBothWithAReason) {
    RunningHost server(secureServer(pki::untrusted));
    Command client(clientHost(server.port(), secureClient(), "never sent"));
    EXPECT_EQ(client.exitStatus(), 1);
    EXPECT_NE(client.errors().find("no connection; the log tells why"), std::string::npos);
    EXPECT_NE(client.output().find("[Error] InitializeSecurityContext failed with: "),
              std::string::npos)
        << client.output();
    EXPECT_EQ(server.command().exitStatus(), 1);
}

} // namespace
} // namespace VexaSsl::test
