// A lot of data both ways through one connection, checked byte for byte.
#include "integration/support/Meeting.h"
#include "integration/support/Pattern.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace VexaSsl::test {
namespace {

// Sends back what it hears until the end of the stream.
void echo(Peer& peer) {
    while (true) {
        const auto heard = peer.receive(262144);
        if (!heard || heard->empty() || !peer.say(*heard)) {
            return;
        }
    }
}

// Sends total bytes while receiving them back, and compares. Result: the bytes that came back
// right.
std::size_t roundTrip(Meeting& meeting, std::size_t total) {
    const Pattern pattern;
    std::jthread echoing([&] { echo(meeting.server); });
    std::jthread sending([&] {
        constexpr std::size_t chunk = 262144;
        for (std::size_t sent = 0; sent < total; sent += chunk) {
            if (!meeting.client.say(pattern.at(sent, std::min(chunk, total - sent)))) {
                return;
            }
        }
    });
    std::size_t right = 0;
    while (right < total) {
        const auto heard = meeting.client.receive(262144);
        if (!heard || heard->empty() || !pattern.matches(right, *heard)) {
            break;
        }
        right += heard->size();
    }
    platform::shutdown(meeting.client.socket.handle(), right == total ? SD_SEND : SD_BOTH);
    sending.join();
    echoing.join();
    return right;
}

TEST(Bulk, sixtyFourMebibytesComeBackUnchanged) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    meeting.client.log->setMinimumSeverity(Severity::Warning);
    meeting.server.log->setMinimumSeverity(Severity::Warning);
    constexpr std::size_t total = std::size_t{64} << 20;
    EXPECT_EQ(roundTrip(meeting, total), total);
}

#if !defined(VEXASSL_UNDER_SANITIZER)
TEST(Bulk, oneGibibyteComesBackUnchanged) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    meeting.client.log->setMinimumSeverity(Severity::Warning);
    meeting.server.log->setMinimumSeverity(Severity::Warning);
    constexpr std::size_t total = std::size_t{1} << 30;
    EXPECT_EQ(roundTrip(meeting, total), total);
}
#endif

} // namespace
} // namespace VexaSsl::test
