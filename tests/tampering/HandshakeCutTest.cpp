// Handshakes that break off behind any byte, of what the peer sends and of what we send.
#include "tampering/HandshakeLines.h"
#include "tampering/Sweeping.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

const std::string row = "Handshake cut at every byte";

// One byte of a handshake with an elliptic key may be more or less than the last time.
constexpr std::size_t signatureVariance = 8;

std::vector<Casting> castings() {
    std::vector<Casting> all = {
        {.asServer = true},
        {.asServer = false},
        {.asServer = true, .overlapped = true},
        {.asServer = true, .upgraded = true, .suite = "ECDHE-RSA-AES256-GCM-SHA384"},
        {.asServer = false, .upgraded = true, .suite = "ECDHE-RSA-AES256-GCM-SHA384"}};
    if (whyNot(Ability::askClients).empty()) {
        all.push_back({.asServer = true, .mutual = true});
        all.push_back({.asServer = false, .mutual = true});
    }
    return all;
}

std::size_t sizeOfHandshake(const Casting& casting, bool fromStack) {
    Scene scene(casting);
    EXPECT_TRUE(scene.established());
    return scene.original(fromStack).size() + signatureVariance;
}

// Cuts each handshake behind its bytes and expects the lines. A cut behind the last byte is none.
void sweepCuts(Farewell farewell, std::size_t usualStep, const std::vector<LogLine>& expected,
               const std::string& what) {
    Thinning thinning(usualStep);
    Tally tally;
    for (const Casting& casting : castings()) {
        const std::size_t size = sizeOfHandshake(casting, false);
        for (std::size_t k = 0; k < size; ++k) {
            if (!thinning.takesNext()) {
                continue;
            }
            Scene scene(casting, {.cutBehind = k, .farewell = farewell});
            if (!scene.cutReached()) {
                EXPECT_TRUE(scene.established()) << casting.describe();
                continue;
            }
            tally.note(faultOfFailedHandshake(scene, expected),
                       casting.describe() + ", behind " + std::to_string(k));
        }
    }
    tally.tell(row, what);
}

TEST(HandshakeCut, closedBehindAnyByteOfThePeerEndsIt) {
    sweepCuts(Farewell::close, 11, linesOfClosedHandshake(), "closed behind the peer's bytes");
}

TEST(HandshakeCut, resetBehindAnyByteOfThePeerEndsIt) {
    VEXASSL_NEEDS_ABILITY(Ability::tellResets);
    sweepCuts(Farewell::reset, 11, linesOfFailedReceive(WSAECONNRESET),
              "reset behind the peer's bytes");
}

TEST(HandshakeCut, silenceBehindAnyByteOfThePeerEndsItAtTheReceiveTimeOut) {
    sweepCuts(Farewell::silence, 17, linesOfFailedReceive(WSAETIMEDOUT),
              "silent behind the peer's bytes");
}

TEST(HandshakeCut, aResetBehindAnyByteThatWeSendEndsIt) {
    VEXASSL_NEEDS_ABILITY(Ability::tellResets);
    Thinning thinning(13);
    Tally tally;
    for (const Casting& casting : castings()) {
        const std::size_t size = sizeOfHandshake(casting, true);
        for (std::size_t k = 0; k < size; ++k) {
            if (!thinning.takesNext()) {
                continue;
            }
            Scene scene(casting, {.cutBehindSent = k});
            if (!scene.wire.isOver()) {
                EXPECT_TRUE(scene.established()) << casting.describe();
                continue;
            }
            tally.note(faultOfFailedHandshake(scene, linesOfFailedSend(WSAECONNRESET)),
                       casting.describe() + ", behind " + std::to_string(k) + " sent");
        }
    }
    tally.tell(row, "reset behind the bytes that we send");
}

// A reset connection can't be shut down any more, which is told at Debug.
TEST(HandshakeCut, resetLeavesALineOfTheFailedShutdown) {
    VEXASSL_NEEDS_ABILITY(Ability::tellResets);
    Scene reset({.asServer = true}, {.cutBehind = 10, .farewell = Farewell::reset});
    Scene closed({.asServer = true}, {.cutBehind = 10, .farewell = Farewell::close});
    const std::wstring code = std::to_wstring(WSAENOTCONN);
    EXPECT_EQ(reset.log.linesWith(L"::shutdown failed with " + code + L" (").size(), 1U);
    EXPECT_EQ(closed.log.linesWith(L"::shutdown").size(), 0U);
}

} // namespace
} // namespace VexaSsl::test
