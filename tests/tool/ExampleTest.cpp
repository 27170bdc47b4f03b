// The example hosts, hosts of the shared library as a user writes them, against each other and
// against the tool.
#include "integration/support/HostSocket.h"
#include "tool/ExampleHost.h"
#include "tool/StarttlsTalk.h"
#include "tool/Tool.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace VexaSsl::test {
namespace {

Words clientHost(const std::string& port, const Words& configuration, const std::string& text) {
    return {example("client_host"), "localhost", port, iniFile(configuration), "Tested",
            pki::folder().string(), text};
}

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

TEST(Examples, untrustedPeerEndsBothWithAReason) {
    RunningHost server(secureServer(pki::untrusted));
    Command client(clientHost(server.port(), secureClient(), "never sent"));
    EXPECT_EQ(client.exitStatus(), 1);
    EXPECT_NE(client.errors().find("attempt 1: InitializeSecurityContext failed: "),
              std::string::npos)
        << client.errors();
    EXPECT_EQ(client.errors().find("attempt 2"), std::string::npos) << "it gives up";
    EXPECT_NE(client.errors().find("cannot connect: see the log"), std::string::npos);
    EXPECT_NE(client.output().find("[Error] InitializeSecurityContext failed with: "),
              std::string::npos)
        << client.output();
    EXPECT_EQ(server.command().exitStatus(), 1);
}

TEST(Examples, clientTriesAgainUntilTheServerIsThere) {
    std::string port;
    {
        const Listener gone;
        port = std::to_string(gone.port());
    }
    Command client(clientHost(port, secureClient(), "at last"));
    ASSERT_TRUE(client.complains("attempt 1: cannot connect: ")) << client.errors();
    RunningHost server(secureServer(), "server_host", 1, port);
    EXPECT_EQ(client.exitStatus(), 0) << client.errors();
    EXPECT_NE(client.output().find("at last\n"), std::string::npos);
}

TEST(Examples, clientReportsTheErrorOfALookup) {
    Command client({example("client_host"), "localhost", "no such service", iniFile(secureClient()),
                    "Tested", pki::folder().string(), "never sent"});
    EXPECT_TRUE(client.complains("attempt 1: error 10109")) << client.errors();
}

// The server ends this connection first, so the system remembers it.
TEST(Examples, serverListensAgainAtOnce) {
    RunningHost first(secureServer());
    runTool({"connect", "localhost:" + first.port(), "--keep-open"},
            Command::Input::text("not TLS"));
    EXPECT_EQ(first.command().exitStatus(), 1);
    RunningHost second(secureServer(), "server_host", 1, first.port());
    Command client(clientHost(second.port(), secureClient(), "hello"));
    EXPECT_EQ(client.exitStatus(), 0) << client.errors();
}

TEST(Examples, serverNamesTheErrorOfAUsedPort) {
    const Listener taken;
    Command server({example("server_host"), std::to_string(taken.port()), iniFile(secureServer()),
                    "Tested", pki::folder().string(), "1"});
    EXPECT_EQ(server.exitStatus(), 1);
    EXPECT_TRUE(server.complains("cannot listen: error 10048")) << server.errors();
}

void expectServed(const Words& server, const Words& client, const std::string& name) {
    RunningHost host(server);
    Command visitor(clientHost(host.port(), client, "hello"));
    EXPECT_EQ(visitor.exitStatus(), 0) << visitor.errors();
    EXPECT_EQ(host.command().exitStatus(), 0);
    EXPECT_NE(host.command().output().find("[Info] serving " + name + "\n"), std::string::npos)
        << host.command().output();
}

TEST(Examples, serverLooksUpWhoCame) {
    expectServed(secureServer(), secureClient(), "an unknown client");
    expectServed(secureServer(pki::localhost, {{"RequireClientAuthentication", "True"}}),
                 secureClient({{"ClientCertificateToSendName", pki::clientWithTwoNames}}),
                 "first.test");
}

TEST(Examples, overlappedServerServesSeveralClientsAtOnce) {
    const int silentClients = static_cast<int>(2 * std::thread::hardware_concurrency());
    RunningHost server(secureServer(), "overlapped_server", silentClients + 2);
    const std::string target = "localhost:" + server.port();
    std::vector<HostSocket> silent;
    for (int i = 0; i < silentClients; ++i) {
        silent.push_back(rawConnection(static_cast<std::uint16_t>(std::stoi(server.port()))));
    }
    // The first client stays connected, its input open, while the second comes and goes.
    Command first(Words{VEXASSL_TOOL, "connect", target} + secureClient(), Command::Input::open());
    first.say("I was first\n");
    ASSERT_TRUE(first.shows("I was first\n")) << first.errors();
    const Outcome second = runTool(Words{"connect", target} + secureClient(),
                                   Command::Input::text("and I was second"));
    EXPECT_EQ(second.output, "and I was second") << second.errors;
    first.closeInput();
    EXPECT_EQ(first.exitStatus(), 0) << first.errors();
    silent.clear();
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
}

TEST(Examples, logOfAHealthyOverlappedServerHasNoWarning) {
    RunningHost server(secureServer(), "overlapped_server", 1);
    const std::string sent(100'000, 'x'); // records that arrive in parts
    const Outcome outcome = runTool(Words{"connect", "localhost:" + server.port()} + secureClient(),
                                    Command::Input::text(sent));
    EXPECT_EQ(outcome.output, sent) << outcome.errors;
    EXPECT_EQ(server.command().exitStatus(), 0);
    const std::string log = server.command().output();
    EXPECT_NE(log.find("[Info] "), std::string::npos) << log;
    EXPECT_EQ(log.find("[Warning] "), std::string::npos) << log;
    EXPECT_EQ(log.find("[Error] "), std::string::npos) << log;
}

TEST(Examples, opportunisticPairSwitchesAndTalks) {
    const Words configuration = switchableServer(pki::localhost);
    Command pair(
        {example("opportunistic_pair"), iniFile(configuration), "Tested", pki::folder().string()});
    EXPECT_EQ(pair.exitStatus(), 0) << pair.errors() << pair.output();
    EXPECT_NE(pair.output().find("you said: in confidence\n"), std::string::npos) << pair.output();
}

TEST(Examples, opportunisticPairStaysSilentWithoutTrust) {
    const Words configuration = switchableServer(pki::untrusted);
    Command pair(
        {example("opportunistic_pair"), iniFile(configuration), "Tested", pki::folder().string()});
    EXPECT_EQ(pair.exitStatus(), 1);
    EXPECT_EQ(pair.output().find("in confidence"), std::string::npos) << pair.output();
    EXPECT_NE(pair.errors().find("client: cannot switch to TLS: see the log"), std::string::npos);
}

TEST(Examples, ownLogKeepsTheFailure) {
    Command well({example("own_log"), iniFile(secureServer()), "Tested"});
    EXPECT_EQ(well.exitStatus(), 0) << well.errors();
    EXPECT_EQ(well.output(), "problems: 0\n");
    Command badly({example("own_log"), "nowhere.ini", "Tested"});
    EXPECT_EQ(badly.exitStatus(), 1);
    EXPECT_EQ(badly.output(), "problems: 2\n");
    EXPECT_NE(badly.errors().find("Z warning Can't open config file\n"), std::string::npos)
        << badly.errors();
}

TEST(Examples, theClientPlainClientTalksInTheClear) {
    RunningHost server(configured({{"UseEncryption", "False"}}));
    Command client({example("plain_client"), "127.0.0.1", server.port(), "as ever"});
    EXPECT_EQ(client.exitStatus(), 0) << client.errors();
    EXPECT_EQ(client.output(), "as ever\n");
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
}

} // namespace
} // namespace VexaSsl::test
