// vexassl serve from outside: many connections, slow and silent ones, signals, and descriptors.
#include "integration/support/HostSocket.h"
#include "tool/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include <sys/socket.h>

namespace VexaSsl::test {
namespace {

// The first bytes of a TLS record of 16,000 bytes; nothing of a handshake is wrong so far.
const std::string beginningOfARecord("\x16\x03\x01\x3e\x80\x01\x00\x3e\x7c\x03\x03", 11);

bool sendRaw(const HostSocket& socket, std::string_view text) {
    return ::send(socket.descriptor(), text.data(), text.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(text.size());
}

// Whether the other side ends the connection, within the socket's time limit.
bool isEnded(const HostSocket& socket) {
    char buffer[4096];
    ssize_t count = 0;
    while ((count = ::recv(socket.descriptor(), buffer, sizeof buffer, 0)) > 0) {
    }
    return count == 0 || errno == ECONNRESET;
}

// Sends a byte at a time, more often than the server's deadline. Returns whether the server ended
// the connection.
bool isEndedWhileFed(const HostSocket& socket) {
    for (int fed = 0; fed < 150; ++fed) {
        if (!sendRaw(socket, "\x01")) {
            return true;
        }
        char byte = 0;
        const ssize_t count = ::recv(socket.descriptor(), &byte, 1, MSG_DONTWAIT);
        if (count == 0 || (count < 0 && errno != EAGAIN)) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    return false;
}

std::string randomBytes(std::size_t size) {
    std::mt19937_64 generator(20220003);
    std::string bytes(size, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(generator()); });
    return bytes;
}

void expectBytesComeBack(const Words& serverArguments, std::size_t size) {
    RunningServer server(serverArguments);
    const auto file = Command::Input::text(randomBytes(size)).path;
    Command client(connectTo(server.target(), secureClient()), Command::Input::file(file));
    EXPECT_EQ(client.exitStatus(), 0) << client.errors();
    EXPECT_TRUE(client.output() == contents(file)) << "the bytes differ";
}

TEST(Serve, sixtyFourMebibytesAreEchoed) {
    expectBytesComeBack(secureServer(), std::size_t{64} << 20);
}

TEST(Serve, overlappedServiceEchoesEveryByte) {
    expectBytesComeBack(secureServer() + Words{"--overlapped"}, std::size_t{16} << 20);
}

TEST(Serve, echoComesBeforeTheInputEnds) {
    for (const Words& more : {Words{}, Words{"--overlapped"}}) {
        RunningServer server(secureServer() + more);
        Command client(connectTo(server.target(), secureClient()), Command::Input::open());
        client.say("no line end");
        EXPECT_TRUE(client.shows("no line end")) << client.errors();
        client.say(", and more");
        EXPECT_TRUE(client.shows("no line end, and more")) << client.errors();
        client.closeInput();
        EXPECT_EQ(client.exitStatus(), 0);
    }
}

TEST(Serve, servesPlainTextWithoutConfiguration) {
    for (const Words& more : {Words{}, Words{"--overlapped"}}) {
        RunningServer server(plainText() + more);
        const Outcome outcome =
            runTool({"connect", server.target()}, Command::Input::text("in the clear"));
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_EQ(outcome.output, "in the clear");
        EXPECT_EQ(outcome.errors, plainTextNote);
    }
}

TEST(Serve, infoLineAndFactsShowWhatIsSecured) {
    for (const Words& more : {Words{}, Words{"--overlapped"}}) {
        RunningServer server(secureServer() + Words{"--expect-client", "Any", "--www"} + more);
        const Outcome outcome =
            runTool(Words{"connect", server.target(), "--keep-open"} +
                        secureClient({{"ClientCertificateToSendName", pki::client}}),
                    Command::Input::text("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"));
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        const std::string agreed = "TLS 1\\.2 with TLS_ECDHE_[A-Z0-9_]+, peer \\[O=case client, "
                                   "CN=client\\.test\\], issued by ";
        EXPECT_THAT(outcome.output, testing::ContainsRegex("<th>secured</th><td>" + agreed));
        EXPECT_THAT(server.command().errors(),
                    testing::ContainsRegex("#1 \\[Info\\] 127\\.0\\.0\\.1:[0-9]+: " + agreed));
    }
}

TEST(Serve, addressOfAFailingPeerIsShown) {
    RunningServer server(secureServer());
    const HostSocket peer = rawConnection(server.port());
    ASSERT_TRUE(sendRaw(peer, "no TLS at all\r\n\r\n"));
    ASSERT_TRUE(server.command().complains("vexassl: #1: no secure connection ("));
    EXPECT_TRUE(server.command().complains(" (peer 127.0.0.1:")) << server.command().errors();
}

TEST(Serve, quietAndVerboseOverruleTheConfiguration) {
    const auto errorsOf = [](const char* flag) {
        RunningServer server(secureServer() + Words{flag});
        const Outcome outcome =
            runTool(Words{"connect", server.target()} + secureClient() + Words{flag});
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        return std::pair(outcome.errors, server.command().errors());
    };
    EXPECT_EQ(errorsOf("--quiet"), std::pair(std::string(), std::string()));
    const auto [client, server] = errorsOf("--verbose");
    EXPECT_THAT(client, testing::HasSubstr("[Debug] "));
    EXPECT_THAT(server, testing::HasSubstr("[Debug] "));
    const Outcome refused = runTool({"connect", "localhost:1", "--quiet"});
    EXPECT_EQ(refused.errors, "vexassl: cannot connect to localhost:1: connection refused\n");
}

TEST(Serve, configuredPlainTextIsReported) {
    RunningServer server(configured({{"UseEncryption", "False"}}));
    EXPECT_TRUE(server.command().complains("this is plain text"));
    const Outcome outcome =
        runTool({"connect", server.target()}, Command::Input::text("in the clear"));
    EXPECT_EQ(outcome.output, "in the clear");
}

TEST(Serve, listensOnIpv6) {
    RunningServer bracketed(secureServer() + Words{"--listen", "[::1]"});
    EXPECT_NE(bracketed.command().output().find("listening on [::1]:"), std::string::npos);
    RunningServer server(secureServer() + Words{"--listen", "::1"});
    EXPECT_NE(server.command().output().find("listening on [::1]:"), std::string::npos);
    const Outcome outcome = runTool(Words{"connect", server.target("[::1]")} + secureClient(),
                                    Command::Input::text("six"));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "six");
}

TEST(Serve, servesManyConnectionsAtOnce) {
    RunningServer server(secureServer());
    std::vector<std::unique_ptr<Command>> clients;
    for (int i = 0; i < 20; ++i) {
        clients.push_back(std::make_unique<Command>(connectTo(server.target(), secureClient()),
                                                    Command::Input::open()));
    }
    for (std::size_t i = 0; i < clients.size(); ++i) {
        const std::string text = "client " + std::to_string(i) + ".";
        clients[i]->say(text);
        EXPECT_TRUE(clients[i]->shows(text)) << clients[i]->errors();
    }
    for (const auto& client : clients) {
        client->closeInput();
        EXPECT_EQ(client->exitStatus(), 0) << client->errors();
    }
}

TEST(Serve, slowHandshakeDoesNotDelayOthers) {
    for (const Words& more : {Words{}, Words{"--overlapped"}}) {
        RunningServer server(secureServer() + more);
        std::vector<HostSocket> slow;
        while (slow.size() < 2 * std::thread::hardware_concurrency() + 2) {
            slow.push_back(rawConnection(server.port()));
            // Every second one stays silent.
            ASSERT_TRUE(slow.size() % 2 == 0 || sendRaw(slow.back(), beginningOfARecord));
        }
        const Outcome outcome = runTool(Words{"connect", server.target()} + secureClient(),
                                        Command::Input::text("past them"));
        EXPECT_EQ(outcome.output, "past them") << outcome.errors;
    }
}

TEST(Serve, failedHandshakeIsOneLineAndTheServerContinues) {
    RunningServer server(secureServer());
    const HostSocket rude = rawConnection(server.port());
    ASSERT_TRUE(sendRaw(rude, "GET / HTTP/1.0\r\n\r\n"));
    EXPECT_TRUE(isEnded(rude));
    EXPECT_TRUE(server.command().complains("vexassl: #1: no secure connection"));
    EXPECT_EQ(failureLines(server.command().errors()), 1) << server.command().errors();
    EXPECT_EQ(runTool(Words{"connect", server.target()} + secureClient()).status, 0);
}

TEST(Serve, descriptorsAreReleasedAfterTwoHundredConnections) {
    RunningServer server(secureServer());
    ASSERT_EQ(runTool(Words{"connect", server.target()} + secureClient()).status, 0);
    const HostSocket marker = rawConnection(server.port());
    ASSERT_TRUE(sendRaw(marker, "x\r\n\r\nno TLS"));
    ASSERT_TRUE(isEnded(marker));
    ASSERT_TRUE(server.command().complains("#2: "));
    const std::size_t before = server.command().settledDescriptors();
    for (int i = 0; i < 200; ++i) {
        const HostSocket rude = rawConnection(server.port());
        ASSERT_TRUE(sendRaw(rude, i % 2 == 0 ? "not TLS at all" : beginningOfARecord));
        ::shutdown(rude.descriptor(), SHUT_WR);
        ASSERT_TRUE(isEnded(rude));
    }
    EXPECT_EQ(server.command().settledDescriptors(), before);
}

TEST(Serve, silentClientIsEndedInTheHandshake) {
    RunningServer server(secureServer() + Words{"--timeout", "1"});
    const HostSocket silent = rawConnection(server.port());
    EXPECT_TRUE(isEnded(silent));
    EXPECT_TRUE(server.command().complains("vexassl: #1: timed out during the handshake"));
}

TEST(Serve, clientThatSendsSingleBytesIsEndedInTheHandshake) {
    RunningServer server(secureServer() + Words{"--timeout", "1"});
    const HostSocket slow = rawConnection(server.port());
    ASSERT_TRUE(sendRaw(slow, beginningOfARecord));
    EXPECT_TRUE(isEndedWhileFed(slow));
    EXPECT_TRUE(server.command().complains("vexassl: #1: timed out during the handshake"));
}

TEST(Serve, silentConnectionIsEndedAfterTheHandshake) {
    for (const Words& more : {Words{}, Words{"--overlapped"}}) {
        RunningServer server(secureServer() + Words{"--timeout", "3"} + more);
        Command client(connectTo(server.target(), secureClient()), Command::Input::open());
        EXPECT_TRUE(server.command().complains("vexassl: #1: timed out"));
        EXPECT_EQ(client.exitStatus(), 0) << client.errors();
    }
}

TEST(Serve, webRequestSentByteByByteIsEnded) {
    for (const Words& more : {Words{}, Words{"--overlapped"}}) {
        RunningServer server(Words{"--www", "--timeout", "1"} + more);
        const HostSocket slow = rawConnection(server.port());
        EXPECT_TRUE(isEndedWhileFed(slow));
        EXPECT_TRUE(server.command().complains("vexassl: #1: timed out"));
    }
}

TEST(Serve, clientThatNeverReadsIsEnded) {
    for (const Words& more : {Words{}, Words{"--overlapped"}}) {
        RunningServer server(Words{"--timeout", "1"} + more);
        const HostSocket greedy = rawConnection(server.port());
        const std::string block(65536, 'x');
        // The echo backs up until the server's send is stuck; then the deadline ends it.
        bool isOpen = true;
        for (int blocks = 0; isOpen && blocks < 1000; ++blocks) {
            isOpen = sendRaw(greedy, block);
        }
        EXPECT_FALSE(isOpen);
        EXPECT_TRUE(server.command().complains("vexassl: #1: timed out"));
    }
}

void expectOrderlyEnd(int number, const Words& more) {
    RunningServer server(secureServer() + more);
    const HostSocket silent = rawConnection(server.port());
    const HostSocket slow = rawConnection(server.port());
    ASSERT_TRUE(sendRaw(slow, beginningOfARecord));
    Command client(connectTo(server.target(), secureClient()), Command::Input::open());
    client.say("hello");
    ASSERT_TRUE(client.shows("hello")) << client.errors();
    server.command().signal(number);
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
    EXPECT_TRUE(isEnded(silent));
    EXPECT_TRUE(isEnded(slow));
    EXPECT_EQ(client.exitStatus(), 0) << client.errors();
}

TEST(Serve, signalsEndItOrderly) {
    for (const int number : {SIGTERM, SIGINT}) {
        expectOrderlyEnd(number, {});
        expectOrderlyEnd(number, {"--overlapped"});
    }
}

} // namespace
} // namespace VexaSsl::test
