// What a client sends right before it closes its TLS stream is answered by servers that receive by
// overlapped operations, in however many reads the two arrive.
#include "tool/ExampleHost.h"
#include "tool/RawTalk.h"
#include "tool/Tool.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace VexaSsl::test {
namespace {

// Sends the text and its closure in one piece. Returns the echo.
std::string echoOfABurst(std::uint16_t port, const std::string& text) {
    const HostSocket socket = rawConnection(port);
    setTimeouts(socket.handle());
    RawPeer client = RawPeer::client();
    if (!runHandshake(client, socket)) {
        return "no handshake";
    }
    const Bytes data = client.protect(text);
    sendAll(socket, data + client.sendClosure());
    std::string echo;
    while (echo.size() < text.size()) {
        const Bytes some = receiveSome(socket);
        if (some.empty()) {
            break;
        }
        echo += client.open(some);
    }
    return echo;
}

void expectEcho(std::uint16_t port, std::size_t size) {
    std::string text;
    while (text.size() < size) {
        text += std::to_string(text.size()) + "\n";
    }
    const std::string echo = echoOfABurst(port, text);
    EXPECT_TRUE(echo == text) << echo.size() << " bytes of " << text.size();
}

TEST(ServeClosure, dataReadBeforeItIsEchoed) {
    RunningServer server(secureServer() + Words{"--overlapped"});
    for (const std::size_t size : {1U, 16000U, 33000U, 100000U}) {
        expectEcho(server.port(), size);
    }
}

TEST(ServeClosure, dataReadBeforeItIsEchoedByTheExample) {
    RunningHost server(secureServer(), "overlapped_server", 3);
    const auto port = static_cast<std::uint16_t>(std::stoi(server.port()));
    for (const std::size_t size : {16000U, 33000U, 100000U}) {
        expectEcho(port, size);
    }
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
}

} // namespace
} // namespace VexaSsl::test
