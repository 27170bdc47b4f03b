// Large transfers in both directions, checked byte for byte.
#include "integration/support/ConnectedPair.h"
#include "integration/support/Pattern.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace VexaSsl::test {
namespace {

// Echoes received bytes until the end of the stream.
void echo(Peer& peer) {
    while (true) {
        const auto heard = peer.receive(262144);
        if (!heard || heard->empty() || !peer.sendAll(*heard)) {
            return;
        }
    }
}

// Sends total bytes while it receives their echo. Returns the number of bytes echoed correctly.
std::size_t roundTrip(ConnectedPair& pair, std::size_t total) {
    const Pattern pattern;
    std::jthread echoing([&] { echo(pair.server); });
    std::jthread sending([&] {
        constexpr std::size_t chunk = 262144;
        for (std::size_t sent = 0; sent < total; sent += chunk) {
            if (!pair.client.sendAll(pattern.at(sent, std::min(chunk, total - sent)))) {
                return;
            }
        }
    });
    std::size_t right = 0;
    while (right < total) {
        const auto heard = pair.client.receive(262144);
        if (!heard || heard->empty() || !pattern.matches(right, *heard)) {
            break;
        }
        right += heard->size();
    }
    platform::shutdown(pair.client.socket.handle(), right == total ? SD_SEND : SD_BOTH);
    sending.join();
    echoing.join();
    return right;
}

TEST(Bulk, sixtyFourMebibytesAreEchoedUnchanged) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    pair.client.log->setMinimumSeverity(Severity::Warning);
    pair.server.log->setMinimumSeverity(Severity::Warning);
    constexpr std::size_t total = std::size_t{64} << 20;
    EXPECT_EQ(roundTrip(pair, total), total);
}

#if !defined(VEXASSL_UNDER_SANITIZER)
TEST(Bulk, oneGibibyteIsEchoedUnchanged) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    pair.client.log->setMinimumSeverity(Severity::Warning);
    pair.server.log->setMinimumSeverity(Severity::Warning);
    constexpr std::size_t total = std::size_t{1} << 30;
    EXPECT_EQ(roundTrip(pair, total), total);
}
#endif

} // namespace
} // namespace VexaSsl::test
