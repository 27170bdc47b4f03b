// Where vexassl serve ends or holds back by itself: a number of connections, as many at once, a
// client that must be known, and a system that has no threads left.
#include "integration/support/HostSocket.h"
#include "tool/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <sys/resource.h>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;

Words client(const RunningServer& server, const Words& arguments = secureClient()) {
    return connectTo(server.target(), arguments);
}

int statusOf(const Words& words) {
    Command command(words);
    return command.exitStatus();
}

// --- --count.

TEST(ServeCount, endsAfterTheRequestedConnections) {
    RunningServer server(secureServer() + Words{"--count", "2"});
    EXPECT_EQ(statusOf(client(server)), 0);
    EXPECT_TRUE(server.command().running());
    EXPECT_EQ(statusOf(client(server)), 0);
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
}

TEST(ServeCount, waitsForTheLastToEnd) {
    RunningServer server(secureServer() + Words{"--count", "2"});
    Command first(client(server), Command::Input::open());
    first.say("one");
    ASSERT_TRUE(first.shows("one")) << first.errors();
    EXPECT_EQ(statusOf(client(server)), 0);
    first.say(", two");
    EXPECT_TRUE(first.shows("one, two"));
    first.closeInput();
    EXPECT_EQ(first.exitStatus(), 0);
    EXPECT_EQ(server.command().exitStatus(), 0);
}

TEST(ServeCount, statusIsThatOfTheFirstFailure) {
    RunningServer server(secureServer() + Words{"--count", "2"});
    {
        const HostSocket rude = rawConnection(server.port());
        ASSERT_GT(sendBytes(rude.handle(), "GET / HTTP/1.0\r\n\r\n"), 0);
        ASSERT_TRUE(server.command().complains("vexassl: #1: "));
    }
    EXPECT_EQ(statusOf(client(server)), 0);
    EXPECT_EQ(server.command().exitStatus(), 4) << server.command().errors();
}

TEST(ServeCount, signalEndsItWithSuccess) {
    RunningServer server(secureServer() + Words{"--count", "9"});
    server.command().signal(SIGTERM);
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
}

// --- --max-connections.

TEST(ServeBound, connectionAboveTheMaximumWaits) {
    RunningServer server(secureServer() + Words{"--max-connections", "2"});
    std::vector<std::unique_ptr<Command>> clients;
    for (int i = 0; i < 2; ++i) {
        clients.push_back(std::make_unique<Command>(client(server), Command::Input::open()));
        clients.back()->say("in");
        ASSERT_TRUE(clients.back()->shows("in")) << clients.back()->errors();
    }
    const HostSocket queued = rawConnection(server.port());
    ASSERT_GT(sendBytes(queued.handle(), "not TLS"), 0);
    EXPECT_EQ(waitReadable({queued.handle()}, 500), 0U) << "it was served beyond the bound";
    clients.front()->closeInput();
    EXPECT_EQ(clients.front()->exitStatus(), 0);
    EXPECT_NE(waitReadable({queued.handle()}, 1000 * timeoutSeconds), 0U);
}

TEST(ServeBound, fullServerStops) {
    RunningServer server(secureServer() + Words{"--max-connections", "1"});
    Command only(client(server), Command::Input::open());
    only.say("in");
    ASSERT_TRUE(only.shows("in")) << only.errors();
    server.command().signal(SIGTERM);
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
}

TEST(ServeBound, maximumOfZeroIsUsage) {
    EXPECT_EQ(runTool({"serve", "--port", "0", "--max-connections", "0"}).status, 1);
}

// --- --expect-client.

TEST(ServeExpectClient, acceptsTheNamedClientAndNoOther) {
    RunningServer server(secureServer() + Words{"--expect-client", "other.test,client.test"});
    const Words known = secureClient({{"ClientCertificateToSendName", pki::client}});
    EXPECT_EQ(statusOf(client(server, known)), 0);
    const Words other = secureClient({{"ClientCertificateToSendName", pki::clientWithTwoNames}});
    statusOf(client(server, other));
    EXPECT_TRUE(server.command().complains("vexassl: #2: the peer's certificate is for another"))
        << server.command().errors();
    statusOf(client(server));
    EXPECT_TRUE(server.command().complains("vexassl: #3: the peer's certificate is not trusted"))
        << server.command().errors();
}

TEST(ServeExpectClient, anyAcceptsEveryTrustedClient) {
    RunningServer server(secureServer() + Words{"--expect-client", "Any"});
    const Words known = secureClient({{"ClientCertificateToSendName", pki::clientWithTwoNames}});
    EXPECT_EQ(statusOf(client(server, known)), 0);
}

TEST(ServeExpectClient, plainTextIsUsage) {
    const Outcome outcome = runTool({"serve", "--port", "0", "--expect-client", "client.test"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("--expect-client needs a configuration with encryption"));
}

// --- An exception in the accept loop.

// The address space that the server has now, and a little more: not enough for many threads.
void leaveLittleRoom(Command& server) {
    std::ifstream pages("/proc/" + std::to_string(server.processNumber()) + "/statm");
    rlim_t size = 0;
    pages >> size;
    const rlim_t room = size * 4096 + (rlim_t{24} << 20);
    const rlimit limit{room, room};
    ASSERT_EQ(::prlimit(server.processNumber(), RLIMIT_AS, &limit, nullptr), 0);
}

TEST(ServeLoop, lackOfThreadsCostsAConnectionAndNeverHangsTheServer) {
#ifdef VEXASSL_UNDER_SANITIZER
    GTEST_SKIP() << "a sanitizer needs the address space that this test takes away";
#endif
    RunningServer server(Words{});
    leaveLittleRoom(server.command());
    std::vector<HostSocket> clients;
    while (clients.size() < 8) {
        clients.push_back(rawConnection(server.port()));
    }
    EXPECT_TRUE(server.command().complains("vexassl: connection dropped: "))
        << server.command().errors();
    clients.clear();
    Outcome outcome;
    for (int tries = 0; tries < 20 && outcome.output != "again"; ++tries) {
        outcome = runTool({"connect", server.target()}, Command::Input::text("again"));
    }
    EXPECT_EQ(outcome.output, "again") << "it serves on when there is room";
    clients.push_back(rawConnection(server.port()));
    server.command().signal(SIGTERM);
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
}

} // namespace
} // namespace VexaSsl::test
