// What a client sends right before it closes its TLS stream is answered by servers that receive by
// overlapped operations, in however many reads the two arrive.
#include "contract/support/RawPeer.h"
#include "integration/support/HostSocket.h"
#include "tool/ExampleHost.h"
#include "tool/Tool.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace VexaSsl::test {
namespace {

void send(const HostSocket& socket, const Bytes& bytes) {
    sendBytes(socket.handle(), std::string(bytes.begin(), bytes.end()));
}

Bytes receive(const HostSocket& socket) {
    std::array<char, 65536> buffer;
    const int count = receiveBytes(socket.handle(), buffer.data(), buffer.size());
    return count > 0 ? bytesOf(std::string(buffer.data(), static_cast<std::size_t>(count)))
                     : Bytes();
}

// Sends the text and its closure in one piece. Result: the echo.
std::string echoOfABurst(std::uint16_t port, const std::string& text) {
    const HostSocket socket = rawConnection(port);
    limitWaiting(socket.handle());
    RawPeer client = RawPeer::client();
    send(socket, client.step());
    while (!client.established()) {
        const Bytes flight = receive(socket);
        if (flight.empty()) {
            return "no handshake";
        }
        send(socket, client.step(flight));
    }
    const Bytes data = client.protect(text);
    send(socket, data + client.shutDown());
    std::string echo;
    while (echo.size() < text.size()) {
        const Bytes some = receive(socket);
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

TEST(ServeClosure, whatCameBeforeItIsEchoed) {
    RunningServer server(secureServer() + Words{"--overlapped"});
    for (const std::size_t size : {1, 16000, 33000, 100000}) {
        expectEcho(server.port(), size);
    }
}

TEST(ServeClosure, whatCameBeforeItIsEchoedByTheExample) {
    RunningHost server(secureServer(), "overlapped_server", 3);
    const auto port = static_cast<std::uint16_t>(std::stoi(server.port()));
    for (const std::size_t size : {16000, 33000, 100000}) {
        expectEcho(port, size);
    }
    EXPECT_EQ(server.command().exitStatus(), 0) << server.command().errors();
}

} // namespace
} // namespace VexaSsl::test
