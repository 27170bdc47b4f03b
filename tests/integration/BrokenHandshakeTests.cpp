// Handshakes over a network that cuts, splits and drips, one byte position after the other.
#include "integration/support/LogMatchers.h"
#include "integration/support/Meeting.h"
#include "integration/support/Pki.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

void expectEnded(const Peer& peer, const char* side, std::size_t position) {
    EXPECT_EQ(peer.result, SOCKET_ERROR) << side << " at " << position;
    EXPECT_EQ(peer.error, WSAECONNABORTED) << side << " at " << position;
    const auto lines = peer.log->linesFrom(Severity::Warning);
    ASSERT_GE(lines.size(), 2U) << side << " at " << position;
    EXPECT_EQ(lines[0], warning(L"Connection closed (during negotiation)"));
    EXPECT_EQ(lines[1], error(L"Can't establish a security context. Connection closed"));
}

TEST(BrokenHandshake, aConnectionClosedBehindAnyByteToTheServerEndsBothSides) {
    const HandshakeSizes sizes = measure();
    for (std::size_t k = 0; k < sizes.toServer && !::testing::Test::HasFailure(); k += step) {
        const Meeting meeting = meetEncrypted(RelayPlan{.toServer = {.cutBehind = k}});
        expectEnded(meeting.server, "server", k);
        expectEnded(meeting.client, "client", k);
    }
}

TEST(BrokenHandshake, aConnectionClosedBehindAnyByteToTheClientEndsIt) {
    const HandshakeSizes sizes = measure();
    for (std::size_t k = 0; k < sizes.toClient && !::testing::Test::HasFailure(); k += step) {
        const Meeting meeting = meetEncrypted(RelayPlan{.toClient = {.cutBehind = k}});
        expectEnded(meeting.client, "client", k);
        if (k <= sizes.toClient - lastFlight) {
            expectEnded(meeting.server, "server", k);
        } else {
            EXPECT_TRUE(meeting.server.established()) << "at " << k;
        }
    }
}

// After a reset a side learns of it by its next receive or send.
void expectReset(const Peer& peer, const char* side, std::size_t position) {
    EXPECT_EQ(peer.result, SOCKET_ERROR) << side << " at " << position;
    EXPECT_EQ(peer.error, WSAECONNABORTED) << side << " at " << position;
    const auto lines = peer.log->linesFrom(Severity::Warning);
    ASSERT_FALSE(lines.empty()) << side << " at " << position;
    EXPECT_TRUE(lines.back() == error(L"Can't establish a security context. can't recv") ||
                lines.back() == error(L"Can't establish a security context. can't send"))
        << side << " at " << position << ": " << convertWideToNarrow(lines.back().text);
}

TEST(BrokenHandshake, aResetBehindAnyByteToTheServerEndsBothSides) {
    VEXASSL_NEEDS_ABILITY(Ability::tellResets);
    const HandshakeSizes sizes = measure();
    for (std::size_t k = 0; k < sizes.toServer && !::testing::Test::HasFailure(); k += step) {
        const Meeting meeting =
            meetEncrypted(RelayPlan{.toServer = {.cutBehind = k, .ending = Ending::reset}});
        expectReset(meeting.server, "server", k);
        expectReset(meeting.client, "client", k);
    }
}

// Resets differ from closing only in the last call, so every seventh position is enough here.
TEST(BrokenHandshake, aResetBehindASeventhByteToTheClientEndsIt) {
    VEXASSL_NEEDS_ABILITY(Ability::tellResets);
    const HandshakeSizes sizes = measure();
    for (std::size_t k = 0; k < sizes.toClient && !::testing::Test::HasFailure(); k += 7 * step) {
        const Meeting meeting =
            meetEncrypted(RelayPlan{.toClient = {.cutBehind = k, .ending = Ending::reset}});
        expectReset(meeting.client, "client", k);
    }
}

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

// The last handshake message is protected, so a change there is a failure like everywhere else.
TEST(BrokenHandshake, aChangedByteToTheClientNeverGivesAConnectionOnBothSides) {
    const HandshakeSizes sizes = measure();
    for (std::size_t k = 5; k < sizes.toClient && !::testing::Test::HasFailure(); k += 37 * step) {
        Meeting meeting = meetEncrypted(RelayPlan{.toClient = {.changeAt = k}});
        EXPECT_FALSE(meeting.client.established()) << "at " << k;
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

TEST(BrokenHandshake, aClientThatSaysNothingEndsAtTheReceiveTimeOut) {
    const Listener listener;
    limitWaiting(listener.handle(), 1); // the accepted socket takes it over
    const HostSocket silent = rawConnection(listener.port());
    Peer server = answer(listener, Settings::serverSending(pki::localhost), Accepting::blocking);
    EXPECT_EQ(server.error, WSAECONNABORTED);
    EXPECT_THAT(server.log->linesFrom(Severity::Warning),
                ::testing::ElementsAre(systemError(L"::recv (during negotiation)", 10060),
                                       error(L"Can't establish a security context. can't recv")));
}

} // namespace
} // namespace VexaSsl::test
