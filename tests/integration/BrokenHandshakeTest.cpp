// Handshakes over a network that splits, drips and holds back, one byte position after the other.
// What cutting and changing bytes does is tried in tests/tampering.
#include "integration/support/Meeting.h"
#include "integration/support/Pki.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace VexaSsl::test {
namespace {

// The sizes of a whole handshake. They are the same every time: with an RSA key every signature has
// the same length.
struct HandshakeSizes {
    std::size_t toServer;
    std::size_t toClient;
};

HandshakeSizes measure() {
    const Meeting meeting = meetEncrypted(RelayPlan{});
    EXPECT_TRUE(meeting.established());
    return {meeting.relay->passedToServer(), meeting.relay->passedToClient()};
}

// How far one byte position lies from the next in the tests below. Where a handshake costs many
// times as much, under a sanitizer for instance, they thin out.
constexpr std::size_t step = VEXASSL_BYTE_STEP;

// The last flight of either side: a change of cipher (6) and a finished message (45).
constexpr std::size_t lastFlight = 51;

// Both sides talk once the handshake is through, so that records of data are split too.
void expectConversation(Meeting& meeting, std::size_t position) {
    ASSERT_TRUE(meeting.established()) << "at " << position;
    ASSERT_TRUE(meeting.client.say("question")) << "at " << position;
    EXPECT_EQ(meeting.server.hear(8), "question") << "at " << position;
    ASSERT_TRUE(meeting.server.say("answer")) << "at " << position;
    EXPECT_EQ(meeting.client.hear(6), "answer") << "at " << position;
}

TEST(BrokenHandshake, aSplitAtAnyByteInBothDirectionsChangesNothing) {
    VEXASSL_NEEDS_ABILITY(Ability::keepFlights);
    const HandshakeSizes sizes = measure();
    const std::size_t longest = std::max(sizes.toServer, sizes.toClient) + 40;
    for (std::size_t k = 1; k < longest && !::testing::Test::HasFailure(); k += step) {
        Meeting meeting =
            meetEncrypted(RelayPlan{.toServer = {.splitAt = k}, .toClient = {.splitAt = k}});
        expectConversation(meeting, k);
    }
}

TEST(BrokenHandshake, deliveryByteByByteChangesNothing) {
    Meeting meeting =
        meetEncrypted(RelayPlan{.toServer = {.pieceSize = 1}, .toClient = {.pieceSize = 1}});
    expectConversation(meeting, 1);
}

TEST(BrokenHandshake, deliveryInPiecesChangesNothing) {
    VEXASSL_NEEDS_ABILITY(Ability::keepFlights);
    for (const std::size_t piece : {2U, 3U, 5U, 7U, 64U}) {
        Meeting meeting = meetEncrypted(
            RelayPlan{.toServer = {.pieceSize = piece}, .toClient = {.pieceSize = piece}});
        expectConversation(meeting, piece);
    }
}

// A server that speaks first: its record can lie behind its last handshake message in one read of
// the client. Those bytes are dropped, and the stream can't be read any more.
TEST(BrokenHandshake, dataBehindTheLastHandshakeRecordIsDroppedAndTheConnectionFails) {
    const HandshakeSizes sizes = measure();
    const Listener listener;
    Meeting meeting;
    meeting.relay = std::make_unique<Relay>(
        listener.port(), RelayPlan{.toClient = {.holdBehind = sizes.toClient - lastFlight,
                                                .holdUntil = sizes.toClient + 1}});
    std::jthread serving([&] {
        meeting.server = answer(listener, Settings::serverSending(pki::localhost));
        meeting.server.say("banner");
    });
    meeting.client = dial(meeting.relay->port(), Settings::encrypted());
    serving.join();
    ASSERT_TRUE(meeting.established());
    EXPECT_TRUE(meeting.client.log->linesFrom(Severity::Warning).empty());
    ASSERT_TRUE(meeting.server.say("more"));
    meeting.server.socket.close();
    EXPECT_EQ(meeting.client.receive(100), "");
    EXPECT_EQ(meeting.client.log->linesWith(L"DecryptMessage failed with: ").size(), 1U);
}

} // namespace
} // namespace VexaSsl::test
