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

// Sends a thousand records that can't be decrypted, as fast as they go. Returns whether the server
// ends the connection.
bool isEndedAfterJunk(std::uint16_t port) {
    const HostSocket socket = rawConnection(port);
    setTimeouts(socket.handle());
    RawPeer client = RawPeer::client();
    if (!runHandshake(client, socket)) {
        return false;
    }
    const Bytes record = bytesOf(std::string("\x17\x03\x03\0\x40", 5)) + Bytes(64);
    Bytes junk;
    for (int i = 0; i < 1000; ++i) {
        junk = std::move(junk) + record;
    }
    sendBytes(socket.handle(), textOf(junk)); // in vain where the server has closed before
    return receiveSome(socket).empty();
}

std::size_t linesAbout(const std::string& errors, const std::string& what) {
    std::size_t lines = 0;
    for (std::size_t at = errors.find(what); at != errors.npos; at = errors.find(what, at + 1)) {
        ++lines;
    }
    return lines;
}

TEST(ServeClosure, junkRecordsEndTheConnectionAfterThreeLines) {
    for (const Words& mode : {Words{}, Words{"--overlapped"}}) {
        RunningServer server(secureServer() + mode + Words{"--count", "1", "--timeout", "60"});
        EXPECT_TRUE(isEndedAfterJunk(server.port()));
        EXPECT_EQ(server.command().exitStatus(), 4) << server.command().errors();
        const std::size_t lines = linesAbout(server.command().errors(), "[Error] ");
        EXPECT_GE(lines, 1U);
        EXPECT_LE(lines, 3U) << server.command().errors();
    }
}

} // namespace
} // namespace VexaSsl::test
