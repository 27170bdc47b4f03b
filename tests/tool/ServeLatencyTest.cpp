// An answer of more than one record arrives without waiting for a delayed acknowledgement.
#include "tool/RawTalk.h"
#include "tool/Tool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

namespace VexaSsl::test {
namespace {

using Clock = std::chrono::steady_clock;

Clock::duration echoTime(RawPeer& client, const HostSocket& socket, std::size_t size) {
    const Clock::time_point start = Clock::now();
    sendAll(socket, client.protect(std::string(size, 'x')));
    std::size_t echoed = 0;
    while (echoed < size) {
        const Bytes some = receiveSome(socket);
        if (some.empty()) {
            return Clock::duration::max();
        }
        echoed += client.open(some).size();
    }
    return Clock::now() - start;
}

// The shortest of several times, as other programs delay some. A delayed acknowledgement would
// delay each by 40 milliseconds.
TEST(ServeLatency, answerOfTwoRecordsIsSentAtOnce) {
    for (const Words& mode : {Words{}, Words{"--overlapped"}}) {
        RunningServer server(secureServer() + mode);
        const HostSocket socket = rawConnection(server.port());
        setTimeouts(socket.handle());
        RawPeer client = RawPeer::client();
        ASSERT_TRUE(runHandshake(client, socket));
        Clock::duration shortest = Clock::duration::max();
        for (int i = 0; i < 10; ++i) {
            shortest = std::min(shortest, echoTime(client, socket, 17000));
        }
        EXPECT_LT(shortest, std::chrono::milliseconds(30));
    }
}

} // namespace
} // namespace VexaSsl::test
