// Handshakes that end after any byte sent by either end.
#include "tampering/HandshakeLines.h"
#include "tampering/Sweeping.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

const std::string row = "Handshake cut at every byte";

// The size of a handshake with elliptic curve keys varies by a few bytes.
constexpr std::size_t signatureVariance = 8;

std::vector<ConnectionSetup> setups() {
    std::vector<ConnectionSetup> all = {
        {.asServer = true},
        {.asServer = false},
        {.asServer = true, .overlapped = true},
        {.asServer = true, .upgraded = true, .suite = "ECDHE-RSA-AES256-GCM-SHA384"},
        {.asServer = false, .upgraded = true, .suite = "ECDHE-RSA-AES256-GCM-SHA384"}};
    if (missingAbility(Ability::requestClientCertificates).empty()) {
        all.push_back({.asServer = true, .mutual = true});
        all.push_back({.asServer = false, .mutual = true});
    }
    return all;
}

std::size_t sizeOfHandshake(const ConnectionSetup& setup, bool fromStack) {
    TamperedConnection connection(setup);
    EXPECT_TRUE(connection.established());
    return connection.original(fromStack).size() + signatureVariance;
}

// Cuts each handshake after every byte and expects the lines. A cut after the last byte has no
// effect.
void sweepCuts(Ending ending, std::size_t usualStep, const std::vector<LogLine>& expected,
               const std::string& what) {
    Sampler sampler = sampleEvery(usualStep);
    Tally tally;
    for (const ConnectionSetup& setup : setups()) {
        const std::size_t size = sizeOfHandshake(setup, false);
        for (std::size_t k = 0; k < size; ++k) {
            if (!sampler.selectsNext()) {
                continue;
            }
            TamperedConnection connection(setup, {.cutAfter = k, .ending = ending});
            if (!connection.cutReached()) {
                EXPECT_TRUE(connection.established()) << setup.describe();
                continue;
            }
            tally.note(faultOfFailedHandshake(connection, expected),
                       setup.describe() + ", after " + std::to_string(k));
        }
    }
    tally.report(row, what);
}

TEST(HandshakeCut, closingAfterAnyByteOfThePeerEndsTheHandshake) {
    sweepCuts(Ending::close, 11, linesOfClosedHandshake(), "closed after the peer's bytes");
}

TEST(HandshakeCut, resetAfterAnyByteOfThePeerEndsTheHandshake) {
    VEXASSL_NEEDS_ABILITY(Ability::reportResets);
    sweepCuts(Ending::reset, 11, linesOfFailedReceive(WSAECONNRESET),
              "reset after the peer's bytes");
}

TEST(HandshakeCut, silenceAfterAnyByteOfThePeerTimesOut) {
    sweepCuts(Ending::silence, 17, linesOfFailedReceive(WSAETIMEDOUT),
              "silent after the peer's bytes");
}

TEST(HandshakeCut, resetAfterAnyByteSentEndsTheHandshake) {
    VEXASSL_NEEDS_ABILITY(Ability::reportResets);
    Sampler sampler = sampleEvery(13);
    Tally tally;
    for (const ConnectionSetup& setup : setups()) {
        const std::size_t size = sizeOfHandshake(setup, true);
        for (std::size_t k = 0; k < size; ++k) {
            if (!sampler.selectsNext()) {
                continue;
            }
            TamperedConnection connection(setup, {.resetAfterSent = k});
            if (!connection.wire.isOver()) {
                EXPECT_TRUE(connection.established()) << setup.describe();
                continue;
            }
            tally.note(faultOfFailedHandshake(connection, linesOfFailedSend(WSAECONNRESET)),
                       setup.describe() + ", after " + std::to_string(k) + " sent");
        }
    }
    tally.report(row, "reset after the bytes that we send");
}

// A reset connection cannot be shut down; the failure is logged at Debug.
TEST(HandshakeCut, resetLogsTheFailedShutdown) {
    VEXASSL_NEEDS_ABILITY(Ability::reportResets);
    TamperedConnection reset({.asServer = true}, {.cutAfter = 10, .ending = Ending::reset});
    TamperedConnection closed({.asServer = true}, {.cutAfter = 10, .ending = Ending::close});
    const std::wstring code = std::to_wstring(WSAENOTCONN);
    EXPECT_EQ(reset.log.linesWith(L"::shutdown failed with " + code + L" (").size(), 1U);
    EXPECT_EQ(closed.log.linesWith(L"::shutdown").size(), 0U);
}

} // namespace
} // namespace VexaSsl::test
