// Handshakes with one byte changed on its way, in either direction. An end that is through holds
// the same to be agreed as the other one, or it stands alone and gets nothing.
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
    return whyNot(Ability::askClients).empty() ? std::vector{false, true} : std::vector{false};
}

class HandshakeFlip : public ::testing::Test {
protected:
    // Both ends are through: nothing but the version in a record's header may have been changed,
    // which nobody looks at before keys are agreed.
    std::string faultOfAgreement(Scene& scene) {
        if (scene.agreement() != scene.counterpart.agreement()) {
            ++divided;
            return "the ends hold different things to be agreed";
        }
        if (scene.placeInRecord() != 1 && scene.placeInRecord() != 2) {
            return "byte " + std::to_string(scene.placeInRecord()) + " of a record goes unnoticed";
        }
        ++harmless;
        return faultOfConversation(scene);
    }

    static std::string faultOfConversation(Scene& scene) {
        scene.deliver({scene.record("towards us")});
        const bool heard = receiveOnce(scene, 100).text == "towards us";
        const bool said = scene.send("from us") == 7 && scene.heardByCounterpart() == "from us";
        return heard && said ? "" : "what is said isn't heard";
    }

    // Only our end is through: that of a server whose last flight was spoiled.
    std::string faultOfLonelyEnd(Scene& scene, const Flip& flip) {
        ++lonely;
        if (!scene.cast().asServer || !flip.fromStack) {
            return "only the side under test is through";
        }
        scene.send("into the void");
        const std::string passedOn = scene.heardByCounterpart();
        scene.deliver({});
        const std::string heard = receiveOnce(scene, 100).text;
        tally.accept(heard.size() + passedOn.size());
        return heard.empty() && passedOn.empty() ? "" : "plaintext behind a spoiled handshake";
    }

    void tryFlip(const Casting& casting, const Flip& flip) {
        Scene scene(casting, {.flip = flip});
        if (!scene.flipReached()) {
            EXPECT_TRUE(scene.established()) << casting.describe();
            return;
        }
        std::string fault;
        if (!scene.established()) {
            fault = faultOfRefusedHandshake(scene);
        } else if (scene.counterpart.established()) {
            fault = faultOfAgreement(scene);
        } else {
            fault = faultOfLonelyEnd(scene, flip);
        }
        tally.note(fault, casting.describe() + ", byte " + std::to_string(flip.at) +
                              (flip.fromStack ? " from us" : " towards us") + " changed by " +
                              std::to_string(flip.pattern));
    }

    Tally tally;
    std::size_t harmless = 0;
    std::size_t lonely = 0;
    std::size_t divided = 0;
};

TEST_F(HandshakeFlip, anyChangedByteEndsItOrChangesNothing) {
    Thinning thinning(19);
    for (const bool mutual : mutualOrNot()) {
        for (const bool asServer : {true, false}) {
            const Casting casting{.asServer = asServer, .mutual = mutual, .suite = ""};
            for (const bool fromStack : {false, true}) {
                const std::size_t size =
                    Scene(casting).original(fromStack).size() + signatureVariance;
                for (std::size_t at = 0; at < size; ++at) {
                    for (const unsigned char pattern : patterns) {
                        if (thinning.takesNext()) {
                            tryFlip(casting, {fromStack, at, pattern});
                        }
                    }
                }
            }
        }
    }
    tally.tell(row, mutualOrNot().size() == 2
                        ? "both directions, both roles, with and without mutual authentication"
                        : "both directions, both roles");
    reportFigure(row, "of these " + std::to_string(harmless) +
                          " changed a version in a record's header and nothing else, " +
                          std::to_string(lonely) + " left our server alone, " +
                          std::to_string(divided) + " gave both ends different parameters");
}

// What an end would see if the sweep's comparison were blind.
TEST_F(HandshakeFlip, anUnchangedHandshakeIsAgreedUponByBothEnds) {
    for (const std::string& suite : allSuites()) {
        for (const bool asServer : {true, false}) {
            for (const bool mutual : mutualOrNot()) {
                Scene scene({.asServer = asServer, .mutual = mutual, .suite = suite});
                ASSERT_TRUE(scene.established()) << scene.cast().describe();
                const Agreement agreed = scene.agreement();
                EXPECT_EQ(agreed, scene.counterpart.agreement()) << scene.cast().describe();
                EXPECT_EQ(agreed.version, 0x0303U);
                EXPECT_EQ(agreed.suite != 0, packageHabits().numbersSuites);
                EXPECT_FALSE(agreed.serverCertificate.empty());
                EXPECT_EQ(agreed.clientCertificate.empty(), !mutual);
                EXPECT_EQ(faultOfConversation(scene), "");
            }
        }
    }
}

} // namespace
} // namespace VexaSsl::test
