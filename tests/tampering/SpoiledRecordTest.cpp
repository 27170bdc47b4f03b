// What exactly a host sees where a record is spoiled, one fact a test: the results, the last error,
// the lines, and what is lost by the way the operations are defined.
#include "integration/support/LogMatchers.h"
#include "tampering/Paths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string goodText = "good";

class SpoiledRecord : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        ASSERT_TRUE(scene.established());
        good = scene.record(goodText);
        spoiled = scene.record("never to be seen");
        spoiled.back() ^= 1;
        behind = scene.record("behind it");
        garbage = bytesOf("GET / HTTP/1.0\r\n\r\n");
    }

    std::vector<LogLine> lines() const { return scene.log.linesFrom(Severity::Warning); }

    Scene scene{Casting{.asServer = GetParam()}};
    Bytes good;
    Bytes spoiled;
    Bytes behind;
    Bytes garbage;
    const LogLine altered =
        failedCall(L"DecryptMessage", static_cast<DWORD>(packageHabits().altered));
    const LogLine tooFew =
        warning(L"::WSARecv completed asynchronously, but there were too few "
                L"bytes transferred [0] to decrypt even a single crypto message");
};

INSTANTIATE_TEST_SUITE_P(Roles, SpoiledRecord, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& role) {
                             return role.param ? "server" : "client";
                         });

// It looks like the end of the stream: the failure is in the log only.
TEST_P(SpoiledRecord, endsARecvWithNothingAndALine) {
    scene.deliver({spoiled});
    const Heard heard = receiveOnce(scene, 100);
    EXPECT_EQ(heard.text, "");
    EXPECT_THAT(heard.ends, ElementsAre(0));
    EXPECT_THAT(lines(), ElementsAre(altered));
}

// The good record came in the same read, was opened and is held, but the failure behind it wins.
TEST_P(SpoiledRecord, behindAGoodOneHoldsThatBackUntilTheNextRecv) {
    scene.deliver({good + spoiled});
    EXPECT_THAT(receiveOnce(scene, 100).ends, ElementsAre(0));
    EXPECT_EQ(receiveOnce(scene, 100).text, goodText);
    EXPECT_THAT(receiveOnce(scene, 100).ends, ElementsAre(0));
    EXPECT_THAT(lines(), ElementsAre(altered));
}

TEST_P(SpoiledRecord, isNotReachedByARecvThatAGoodOneServes) {
    scene.deliver({good + spoiled});
    EXPECT_EQ(receiveOnce(scene, goodText.size()).text, goodText);
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_THAT(receiveOnce(scene, goodText.size()).ends, ElementsAre(0));
    EXPECT_THAT(lines(), ElementsAre(altered));
}

// Each later read finds the connection broken and says so again.
TEST_P(SpoiledRecord, spoilsWhateverComesBehindItInLaterReads) {
    scene.deliver({spoiled, behind, behind});
    const Heard heard = receiveOnce(scene, 100);
    EXPECT_EQ(heard.text, "");
    EXPECT_THAT(heard.ends, ElementsAre(0));
    EXPECT_THAT(lines(), ElementsAre(altered, altered, altered));
}

TEST_P(SpoiledRecord, leavesNothingOfItselfInTheBuffer) {
    scene.deliver({good, spoiled});
    const Heard heard = receiveOnce(scene, 1000, msgWaitAll);
    EXPECT_EQ(heard.text, goodText);
    EXPECT_EQ(heard.beyond, "");
}

TEST_P(SpoiledRecord, meetsAPeekAsItMeetsARecv) {
    scene.deliver({good + spoiled});
    EXPECT_EQ(receiveOnce(scene, goodText.size(), msgPeek).text, goodText);
    EXPECT_THAT(receiveOnce(scene, 100, msgPeek).ends, ElementsAre(0));
    EXPECT_EQ(receiveOnce(scene, goodText.size()).text, goodText);
    EXPECT_THAT(lines(), ElementsAre(altered));
}

// select opens the record in hand.
TEST_P(SpoiledRecord, inHandFailsASelect) {
    scene.deliver({good + spoiled});
    EXPECT_EQ(receiveOnce(scene, goodText.size()).text, goodText);
    fd_set set{};
    platform::socketSetAdd(scene.socket(), set);
    const timeval none{};
    EXPECT_EQ(scene.stack().select(0, &set, nullptr, nullptr, &none), SOCKET_ERROR);
    EXPECT_THAT(lines(), ElementsAre(altered));
}

TEST_P(SpoiledRecord, givesItsStatusToACompletion) {
    scene.deliver({spoiled});
    const Heard heard = completeOnce(scene, {100});
    EXPECT_EQ(heard.text, "");
    EXPECT_THAT(heard.ends, ElementsAre(packageHabits().altered));
    EXPECT_THAT(lines(), ElementsAre(altered, tooFew));
}

TEST_P(SpoiledRecord, behindAGoodOneHoldsThatBackUntilTheNextCompletion) {
    scene.deliver({good + spoiled});
    EXPECT_THAT(completeOnce(scene, {100}).ends, ElementsAre(packageHabits().altered));
    EXPECT_EQ(completeOnce(scene, {100}).text, goodText);
    EXPECT_THAT(lines(), ElementsAre(altered, tooFew));
}

// The first buffer had its bytes when the second one met the failure: they are not counted, and a
// host that goes on gets the stream with a gap.
TEST_P(SpoiledRecord, takesAlongWhatACompletionHadPutIntoEarlierBuffers) {
    scene.deliver({good + spoiled});
    const Heard failed = completeOnce(scene, {3, 100});
    EXPECT_THAT(failed.ends, ElementsAre(packageHabits().altered));
    EXPECT_EQ(failed.beyond, goodText.substr(0, 3));
    EXPECT_EQ(completeOnce(scene, {3, 100}).text, goodText.substr(3));
}

TEST_P(SpoiledRecord, letsNothingBeSentAnyMore) {
    scene.deliver({spoiled});
    receiveOnce(scene, 100);
    const std::size_t before = scene.wire.sentByStack();
    EXPECT_EQ(scene.send("an answer"), SOCKET_ERROR);
    EXPECT_EQ(scene.wire.sentByStack(), before);
    EXPECT_THAT(lines(),
                ElementsAre(altered, failedCall(L"EncryptMessage",
                                                static_cast<DWORD>(packageHabits().altered))));
}

// What can't be TLS is the one failure without a line, now and at each read behind it.
TEST_P(SpoiledRecord, thatIsNoTlsLeavesNoLine) {
    VEXASSL_NEEDS_ABILITY(Ability::notePlainText);
    scene.deliver({garbage, behind});
    EXPECT_THAT(receiveOnce(scene, 100).ends, ElementsAre(0));
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_P(SpoiledRecord, thatIsNoTlsGivesItsStatusToACompletion) {
    VEXASSL_NEEDS_ABILITY(Ability::notePlainText);
    scene.deliver({garbage});
    EXPECT_THAT(completeOnce(scene, {100}).ends, ElementsAre(SEC_E_INVALID_TOKEN));
    EXPECT_THAT(lines(), ElementsAre(tooFew));
}

using CutRecord = SpoiledRecord;
INSTANTIATE_TEST_SUITE_P(Roles, CutRecord, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& role) {
                             return role.param ? "server" : "client";
                         });

// Nobody can tell a connection that somebody cut from one that the peer meant to end.
TEST_P(CutRecord, isAnOrdinaryEndWithoutALine) {
    scene.deliver({part(good, 0, good.size() - 1)});
    EXPECT_THAT(receiveOnce(scene, 100).ends, ElementsAre(0));
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_P(CutRecord, byAResetFailsWithTheSystemsErrorAndNoLine) {
    VEXASSL_NEEDS_ABILITY(Ability::tellResets);
    scene.deliver({part(good, 0, good.size() - 1)}, Farewell::reset);
    EXPECT_THAT(receiveOnce(scene, 100).ends, ElementsAre(SOCKET_ERROR));
    EXPECT_EQ(platform::WSAGetLastError(), WSAECONNRESET);
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_P(CutRecord, byAResetLosesWhatACallForAllHadByThen) {
    VEXASSL_NEEDS_ABILITY(Ability::tellResets);
    scene.deliver({good}, Farewell::reset);
    const Heard heard = receiveOnce(scene, 100, msgWaitAll);
    EXPECT_THAT(heard.ends, ElementsAre(SOCKET_ERROR));
    EXPECT_EQ(heard.beyond, goodText);
    EXPECT_EQ(platform::WSAGetLastError(), WSAECONNRESET);
    EXPECT_EQ(receiveOnce(scene, 100).text, "");
}

// A time-out harms nothing: the part that had come is kept.
TEST_P(CutRecord, bySilenceTimesOutAndGoesOnWithTheRest) {
    limitReceiving(scene.socket(), shortPatience);
    scene.deliver({part(good, 0, 20)}, Farewell::silence);
    EXPECT_THAT(receiveOnce(scene, 100).ends, ElementsAre(SOCKET_ERROR));
    EXPECT_EQ(platform::WSAGetLastError(), WSAETIMEDOUT);
    EXPECT_THAT(lines(), IsEmpty());
    scene.wire.sendNow(part(good, 20));
    EXPECT_EQ(receiveOnce(scene, 100).text, goodText);
}

// The peer goes while a record is on its way out.
TEST_P(CutRecord, onItsWayOutFailsTheSendBehindAnyByte) {
    VEXASSL_NEEDS_ABILITY(Ability::tellResets);
    const std::size_t size = good.size();
    for (std::size_t k = 0; k < size; ++k) {
        Scene sending({.asServer = GetParam()});
        ASSERT_TRUE(sending.established());
        sending.wire.resetBehindSent = sending.wire.sentByStack() + k;
        ASSERT_EQ(sending.send(goodText), SOCKET_ERROR) << "behind " << k;
        ASSERT_EQ(platform::WSAGetLastError(), WSAECONNRESET) << "behind " << k;
        ASSERT_THAT(sending.log.linesFrom(Severity::Warning), IsEmpty()) << "behind " << k;
    }
}

} // namespace
} // namespace VexaSsl::test
