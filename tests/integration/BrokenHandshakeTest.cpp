// Handshakes over a network that splits and delays data at each byte. tests/tampering tests cut and
// changed bytes.
#include "integration/support/ConnectedPair.h"
#include "integration/support/Pki.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace VexaSsl::test {
namespace {

// The sizes of a whole handshake, which are constant since RSA signatures have a fixed length.
struct HandshakeSizes {
    std::size_t toServer;
    std::size_t toClient;
};

HandshakeSizes measure() {
    const ConnectedPair pair = connectEncrypted(RelayPlan{});
    EXPECT_TRUE(pair.established());
    return {pair.relay->passedToServer(), pair.relay->passedToClient()};
}

// The distance between the bytes that the tests try, larger where a handshake is slow.
constexpr std::size_t step = VEXASSL_BYTE_STEP;

// The last flight of each side: ChangeCipherSpec (6 bytes) and Finished (45).
constexpr std::size_t lastFlight = 51;

// Both sides send data after the handshake, so that records of data are split, too.
void expectConversation(ConnectedPair& pair, std::size_t position) {
    ASSERT_TRUE(pair.established()) << "at " << position;
    ASSERT_TRUE(pair.client.sendAll("question")) << "at " << position;
    EXPECT_EQ(pair.server.receiveAll(8), "question") << "at " << position;
    ASSERT_TRUE(pair.server.sendAll("answer")) << "at " << position;
    EXPECT_EQ(pair.client.receiveAll(6), "answer") << "at " << position;
}

TEST(BrokenHandshake, splitAtAnyByteInBothDirectionsChangesNothing) {
    VEXASSL_NEEDS_ABILITY(Ability::keepFlights);
    const HandshakeSizes sizes = measure();
    const std::size_t longest = std::max(sizes.toServer, sizes.toClient) + 40;
    for (std::size_t k = 1; k < longest && !::testing::Test::HasFailure(); k += step) {
        ConnectedPair pair =
            connectEncrypted(RelayPlan{.toServer = {.splitAt = k}, .toClient = {.splitAt = k}});
        expectConversation(pair, k);
    }
}

TEST(BrokenHandshake, deliveryByteByByteChangesNothing) {
    ConnectedPair pair =
        connectEncrypted(RelayPlan{.toServer = {.pieceSize = 1}, .toClient = {.pieceSize = 1}});
    expectConversation(pair, 1);
}

TEST(BrokenHandshake, deliveryInPiecesChangesNothing) {
    VEXASSL_NEEDS_ABILITY(Ability::keepFlights);
    for (const std::size_t piece : {2U, 3U, 5U, 7U, 64U}) {
        ConnectedPair pair = connectEncrypted(
            RelayPlan{.toServer = {.pieceSize = piece}, .toClient = {.pieceSize = piece}});
        expectConversation(pair, piece);
    }
}

// A server that sends first: one read of the client may return its last handshake message and its
// first record. The record is dropped, and decryption fails from then on.
TEST(BrokenHandshake, dataAfterTheLastHandshakeRecordIsDroppedAndTheConnectionFails) {
    const HandshakeSizes sizes = measure();
    const Listener listener;
    ConnectedPair pair;
    pair.relay = std::make_unique<Relay>(
        listener.port(), RelayPlan{.toClient = {.holdAfter = sizes.toClient - lastFlight,
                                                .holdUntil = sizes.toClient + 1}});
    std::jthread serving([&] {
        pair.server = acceptPeer(listener, Settings::serverSending(pki::localhost));
        pair.server.sendAll("banner");
    });
    pair.client = connectPeer(pair.relay->port(), Settings::encrypted());
    serving.join();
    ASSERT_TRUE(pair.established());
    EXPECT_TRUE(pair.client.log->linesFrom(Severity::Warning).empty());
    ASSERT_TRUE(pair.server.sendAll("more"));
    pair.server.socket.close();
    EXPECT_EQ(pair.client.receive(100), "");
    EXPECT_EQ(pair.client.log->linesWith(L"DecryptMessage failed with: ").size(), 1U);
}

} // namespace
} // namespace VexaSsl::test
