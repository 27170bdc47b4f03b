// What a peer sends right before it closes its TLS stream must come out, in however many reads the
// two arrive; and records that come in pieces are nothing to warn of.
#include "integration/support/Relay.h"
#include "tool/RawTalk.h"
#include "tool/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>
#include <utility>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

enum class Whom { everybody, whoStaysOpen, whoIsGreeted };

// Takes one client and one request. The answer and the closure of its stream go out in one piece.
// Or it speaks first, in one piece with the end of the handshake.
class AnsweringServer {
public:
    explicit AnsweringServer(std::string toAnswer, Whom answered = Whom::everybody)
        : answer(std::move(toAnswer)), whom(answered), thread([this] { serve(); }) {}
    ~AnsweringServer() { thread.join(); }

    std::string target() const { return "localhost:" + std::to_string(listener.port()); }

private:
    void serve() {
        const HostSocket client(acceptFrom(listener.handle()));
        setTimeouts(client.handle());
        RawPeer peer = RawPeer::server("server-rsa");
        const Bytes last = answerHandshake(peer, client);
        if (whom == Whom::whoIsGreeted) {
            sendAll(client, last + peer.protect("a greeting\n"));
            receiveSome(client); // so what follows comes after the handshake
            sendAll(client, peer.protect(answer));
            return;
        }
        sendAll(client, last);
        peer.open(receiveSome(client));
        if (whom == Whom::whoStaysOpen && hasShutDown(client)) {
            return;
        }
        const Bytes data = peer.protect(answer);
        sendAll(client, data + peer.sendClosure());
        while (!receiveSome(client).empty()) {
        }
    }

    static bool hasShutDown(const HostSocket& socket) {
        char byte = 0;
        setTimeouts(socket.handle(), 1);
        return receiveBytes(socket.handle(), &byte, 1) == 0;
    }

    const std::string answer;
    const Whom whom;
    Listener listener;
    std::thread thread;
};

// Bytes that show their position.
std::string numbered(std::size_t size) {
    std::string text;
    while (text.size() < size) {
        text += std::to_string(text.size()) + "\n";
    }
    text.resize(size);
    return text;
}

void expectToPrint(const std::string& answer, int times = 5) {
    for (int i = 0; i < times; ++i) {
        const AnsweringServer server(answer);
        Command client(connectTo(server.target(), secureClient()), Command::Input::open());
        client.say("a request\n");
        EXPECT_EQ(client.exitStatus(), 0) << client.errors();
        EXPECT_TRUE(client.output() == answer)
            << client.output().size() << " bytes of " << answer.size();
    }
}

TEST(ConnectClosure, dataReadWithTheClosureIsPrinted) {
    expectToPrint("the answer\n");
}

// A read takes one full record, so the closure after it waits for the next one.
TEST(ConnectClosure, dataReadBeforeTheClosureIsPrinted) {
    expectToPrint(numbered(16384));
}

// More than a receive takes leaves decrypted bytes, with the closure right after them.
TEST(ConnectClosure, dataHeldAtTheClosureIsPrinted) {
    for (const std::size_t size : {32768U, 65536U, 98172U, 98304U, 400000U, 1U << 20U}) {
        expectToPrint(numbered(size), 1);
    }
}

// Servers written in Python do, for instance.
TEST(ConnectKeepOpen, receivesTheAnswerOfAPeerThatDropsAShutStream) {
    for (const bool staysOpen : {true, false}) {
        const AnsweringServer server("the answer\n", Whom::whoStaysOpen);
        const Words flags = staysOpen ? Words{"--keep-open"} : Words{};
        const Outcome outcome = runTool(Words{"connect", server.target()} + secureClient() + flags,
                                        Command::Input::text("a request\n"));
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_EQ(outcome.output, staysOpen ? "the answer\n" : "");
    }
}

TEST(ConnectGreeting, greetingSentWithFinishedIsReportedLost) {
    const AnsweringServer server("and more\n", Whom::whoIsGreeted);
    Command client(connectTo(server.target(), secureClient()), Command::Input::open());
    client.say("hello\n");
    EXPECT_EQ(client.exitStatus(), 4);
    EXPECT_EQ(client.output(), "");
    EXPECT_THAT(client.errors(), HasSubstr("; a server that speaks first may also have sent its "
                                           "first bytes with the end of the handshake"));
}

Outcome echoedInPieces(const Options& more) {
    const std::string text(200, 'x');
    RunningServer server(secureServer());
    Relay relay(server.port(), {.toServer = {}, .toClient = {.pieceSize = 50}});
    Outcome outcome =
        runTool(Words{"connect", "localhost:" + std::to_string(relay.port())} + secureClient(more),
                Command::Input::text(text));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, text);
    return outcome;
}

TEST(ConnectPieces, piecesOfRecordsAreReportedAtDebugOnly) {
    EXPECT_THAT(echoedInPieces({}).errors, Not(HasSubstr("[Warning]")));
    EXPECT_THAT(echoedInPieces({{"MinimumSeverityToLog", "Debug"}}).errors,
                HasSubstr("[Warning] ::WSARecv completed asynchronously, but there were too few"));
}

} // namespace
} // namespace VexaSsl::test
