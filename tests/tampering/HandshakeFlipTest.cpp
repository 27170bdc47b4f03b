// Handshakes with one byte changed in transit, in either direction. Two ends that complete the
// handshake agree on all parameters; an end that completes it alone exchanges no data.
#include "VexaSsl/TextConversion.h"
#include "tampering/HandshakeLines.h"
#include "tampering/Paths.h"
#include "tampering/Sweeping.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

const std::string row = "Handshake flipped";
constexpr std::array<unsigned char, 3> patterns = {0x01, 0x80, 0xFF};
constexpr std::size_t signatureVariance = 8;

std::vector<bool> mutualOrNot() {
    return missingAbility(Ability::requestClientCertificates).empty() ? std::vector{false, true}
                                                                      : std::vector{false};
}

class HandshakeFlip : public ::testing::Test {
protected:
    // Both ends completed the handshake: only the version in a record's header may have changed,
    // which is not authenticated before the keys are agreed.
    std::string faultOfAgreement(TamperedConnection& connection) {
        if (connection.agreement() != connection.counterpart.agreement()) {
            ++divided;
            return "the ends agreed on different parameters";
        }
        if (connection.placeInRecord() != 1 && connection.placeInRecord() != 2) {
            return "byte " + std::to_string(connection.placeInRecord()) +
                   " of a record goes unnoticed";
        }
        ++harmless;
        return faultOfDataExchange(connection);
    }

    static std::string faultOfDataExchange(TamperedConnection& connection) {
        connection.deliver({connection.record("towards us")});
        const bool received = receiveOnce(connection, 100).text == "towards us";
        const bool sent =
            connection.send("from us") == 7 && connection.receivedByCounterpart() == "from us";
        return received && sent ? "" : "data does not arrive";
    }

    // Only our end completed the handshake: a server whose last flight was changed.
    std::string faultOfOneSidedEnd(TamperedConnection& connection, const Flip& flip) {
        ++oneSided;
        if (!connection.connectionSetup().asServer || !flip.fromStack) {
            return "only the side under test completed the handshake";
        }
        connection.send("into the void");
        const std::string passedOn = connection.receivedByCounterpart();
        connection.deliver({});
        const std::string received = receiveOnce(connection, 100).text;
        tally.accept(received.size() + passedOn.size());
        return received.empty() && passedOn.empty() ? "" : "plaintext after a changed handshake";
    }

    void tryFlip(const ConnectionSetup& setup, const Flip& flip) {
        TamperedConnection connection(setup, {.flip = flip});
        if (!connection.flipReached()) {
            EXPECT_TRUE(connection.established()) << setup.describe();
            return;
        }
        std::string fault;
        if (!connection.established()) {
            fault = faultOfRefusedHandshake(connection);
        } else if (connection.counterpart.established()) {
            fault = faultOfAgreement(connection);
        } else {
            fault = faultOfOneSidedEnd(connection, flip);
        }
        tally.note(fault, setup.describe() + ", byte " + std::to_string(flip.at) +
                              (flip.fromStack ? " from us" : " towards us") + " changed by " +
                              std::to_string(flip.pattern));
    }

    Tally tally;
    std::size_t harmless = 0;
    std::size_t oneSided = 0;
    std::size_t divided = 0;
};

TEST_F(HandshakeFlip, changedByteEndsTheHandshakeOrChangesNothing) {
    Sampler sampler = sampleEvery(19);
    for (const bool mutual : mutualOrNot()) {
        for (const bool asServer : {true, false}) {
            const ConnectionSetup setup{.asServer = asServer, .mutual = mutual, .suite = ""};
            for (const bool fromStack : {false, true}) {
                const std::size_t size =
                    TamperedConnection(setup).original(fromStack).size() + signatureVariance;
                for (std::size_t at = 0; at < size; ++at) {
                    for (const unsigned char pattern : patterns) {
                        if (sampler.selectsNext()) {
                            tryFlip(setup, {fromStack, at, pattern});
                        }
                    }
                }
            }
        }
    }
    tally.report(row, mutualOrNot().size() == 2
                          ? "both directions, both roles, with and without mutual authentication"
                          : "both directions, both roles");
    reportFigure(row, "of these " + std::to_string(harmless) +
                          " changed a version in a record's header and nothing else, " +
                          std::to_string(oneSided) + " left our server alone, " +
                          std::to_string(divided) + " gave both ends different parameters");
}

// The comparison of the sweep sees every parameter.
TEST_F(HandshakeFlip, bothEndsAgreeAfterUnchangedHandshake) {
    for (const std::string& suite : allSuites()) {
        for (const bool asServer : {true, false}) {
            for (const bool mutual : mutualOrNot()) {
                TamperedConnection connection(
                    {.asServer = asServer, .mutual = mutual, .suite = suite});
                ASSERT_TRUE(connection.established()) << connection.connectionSetup().describe();
                const Agreement agreed = connection.agreement();
                EXPECT_EQ(agreed, connection.counterpart.agreement())
                    << connection.connectionSetup().describe();
                EXPECT_EQ(agreed.version, 0x0303U);
                EXPECT_EQ(agreed.suite != 0, packageBehaviour().reportsCipherSuites);
                EXPECT_FALSE(agreed.serverCertificate.empty());
                EXPECT_EQ(agreed.clientCertificate.empty(), !mutual);
                EXPECT_EQ(faultOfDataExchange(connection), "");
            }
        }
    }
}

} // namespace
} // namespace VexaSsl::test
