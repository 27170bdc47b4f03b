// What a peer sends right before it closes its TLS stream must come out, although the two often
// arrive in one read.
#include "contract/support/RawPeer.h"
#include "integration/support/HostSocket.h"
#include "tool/Tool.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>

namespace VexaSsl::test {
namespace {

constexpr std::string_view answer = "the answer\n";

// Takes one client and one request. The answer and the closure of its stream go out in one piece.
class AnsweringServer {
public:
    AnsweringServer() : thread([this] { serve(); }) {}
    ~AnsweringServer() { thread.join(); }

    std::string target() const { return "localhost:" + std::to_string(listener.port()); }

private:
    void serve() {
        const HostSocket client(acceptFrom(listener.handle()));
        limitWaiting(client.handle());
        RawPeer peer = RawPeer::server("server-rsa");
        while (!peer.established()) {
            const Bytes flight = receive(client);
            if (flight.empty()) {
                return;
            }
            send(client, peer.step(flight));
        }
        peer.open(receive(client));
        const Bytes data = peer.protect(std::string(answer));
        send(client, data + peer.shutDown());
        while (!receive(client).empty()) {
        }
    }

    static Bytes receive(const HostSocket& socket) {
        std::array<char, 16384> buffer;
        const int count = receiveBytes(socket.handle(), buffer.data(), buffer.size());
        return count > 0 ? bytesOf(std::string(buffer.data(), static_cast<std::size_t>(count)))
                         : Bytes();
    }
    static void send(const HostSocket& socket, const Bytes& bytes) {
        sendBytes(socket.handle(), std::string(bytes.begin(), bytes.end()));
    }

    Listener listener;
    std::thread thread;
};

TEST(ConnectClosure, whatCameInOneReadWithTheClosureIsPrinted) {
    for (int i = 0; i < 5; ++i) {
        const AnsweringServer server;
        Command client(connectTo(server.target(), secureClient()), Command::Input::open());
        client.say("a request\n");
        EXPECT_EQ(client.exitStatus(), 0) << client.errors();
        EXPECT_EQ(client.output(), answer);
    }
}

} // namespace
} // namespace VexaSsl::test
