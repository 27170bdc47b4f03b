// heldBytes, and the two ways of receiving that it allows.
#include "unit/secure/OverlappedStage.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace VexaSsl {
namespace {

using test::LogLine;
using test::ToyCipher;
using Kind = test::ToyCipher::Kind;

class HeldBytes : public testing::Test {
protected:
    void SetUp() override { stage.makeConnected(); }

    int held() { return stage.strategy->heldBytes(); }

    test::SecureStage<> stage;
};

TEST_F(HeldBytes, isZeroBeforeAConnection) {
    stage.make();
    EXPECT_EQ(held(), 0);
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(HeldBytes, isZeroWithNothingReceived) {
    EXPECT_EQ(held(), 0);
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_EQ(stage.cipher.decryptCalls, 0);
}

TEST_F(HeldBytes, countsPlaintextAndAllWholeRecords) {
    stage.holdPlain("abc");
    stage.hold(stage.cipher.seal("defg") + stage.cipher.seal("hi"));
    EXPECT_EQ(held(), 9);
    EXPECT_EQ(stage.heldPlain(), "abcdefghi");
    EXPECT_TRUE(stage.lower->calls.empty());
}

TEST_F(HeldBytes, partialRecordWaitsForItsRest) {
    const std::string second = stage.cipher.seal("second");
    stage.hold(stage.cipher.seal("first") + second.substr(0, 5));
    EXPECT_EQ(held(), 5);
    EXPECT_EQ(stage.receive(5), "first");
    EXPECT_EQ(held(), 0);
    stage.arrive(second.substr(5));
    EXPECT_EQ(stage.receive(6), "second");
}

TEST_F(HeldBytes, secondCallDecryptsNothing) {
    stage.hold(stage.cipher.seal("data"));
    EXPECT_EQ(held(), 4);
    const int calls = stage.cipher.decryptCalls;
    EXPECT_EQ(held(), 4);
    EXPECT_EQ(stage.cipher.decryptCalls, calls);
}

// What one byte at a time, then exactly what is held, receives until the end.
std::string receiveAll(test::SecureStage<>& stage) {
    std::string all;
    for (;;) {
        const std::string first = stage.receive(1);
        if (first.empty()) {
            return all;
        }
        all += first;
        for (int held = stage.strategy->heldBytes(); held > 0; held = stage.strategy->heldBytes()) {
            all += stage.receive(held);
        }
    }
}

TEST_F(HeldBytes, oneByteAndThenWhatIsHeldLosesNothingAtAClosure) {
    stage.arrive(stage.cipher.seal("the last words") + stage.cipher.seal("", Kind::Closure));
    EXPECT_EQ(receiveAll(stage), "the last words");
    EXPECT_EQ(stage.result, 0) << "the closure, without a read that would block";
}

TEST_F(HeldBytes, oneByteAndThenWhatIsHeldLosesNothingAtTheNextReadsClosure) {
    stage.arrive(stage.cipher.seal("the last words"));
    stage.arrive(stage.cipher.seal("", Kind::Closure));
    EXPECT_EQ(receiveAll(stage), "the last words");
    EXPECT_EQ(stage.result, 0);
}

struct Ending {
    const char* name;
    Kind kind;
};

void PrintTo(const Ending& tested, std::ostream* stream) {
    *stream << tested.name;
}

class HeldEnd : public HeldBytes, public testing::WithParamInterface<Ending> {};

TEST_P(HeldEnd, isAnnouncedAndReportedAfterTheData) {
    stage.hold(stage.cipher.seal("data") + stage.cipher.seal("x", GetParam().kind));
    EXPECT_EQ(held(), 4);
    EXPECT_EQ(held(), 4);
    EXPECT_EQ(stage.receive(4), "data");
    EXPECT_EQ(held(), SOCKET_ERROR);
    EXPECT_EQ(held(), SOCKET_ERROR) << "it stays";
    EXPECT_EQ(stage.platformCalls("DebugBreak"), 0);
    stage.receive(1);
    EXPECT_EQ(stage.result, 0);
    EXPECT_EQ(stage.platformCalls("DebugBreak"), 1);
    EXPECT_TRUE(stage.lower->calls.empty()) << "without the network";
    EXPECT_EQ(held(), 0) << "it has been reported";
}

TEST_P(HeldEnd, leavesWhatArrivesLater) {
    stage.hold(stage.cipher.seal("x", GetParam().kind));
    EXPECT_EQ(held(), SOCKET_ERROR);
    stage.hold(stage.cipher.seal("later"));
    EXPECT_EQ(held(), SOCKET_ERROR);
    stage.receive(1);
    EXPECT_EQ(stage.result, 0);
    EXPECT_EQ(held(), 5);
}

INSTANTIATE_TEST_SUITE_P(Kinds, HeldEnd,
                         testing::Values(Ending{"closure", Kind::Closure},
                                         Ending{"renegotiation", Kind::Renegotiation},
                                         Ending{"altered", Kind::Altered},
                                         Ending{"garbage", Kind::Garbage}),
                         [](const auto& tested) { return tested.param.name; });

TEST_F(HeldBytes, linesAreThoseOfTheDecryptionAndWrittenOnce) {
    stage.hold(stage.cipher.seal("data") + stage.cipher.seal("", Kind::Closure));
    held();
    stage.receive(4);
    stage.receive(1);
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{
                  {Severity::Debug, L"Found [12] extra useful bytes"},
                  {Severity::Error, L"DecryptMessage failed with: 590615 (text of 590615)"}}));
}

TEST_F(HeldBytes, exhaustedMemoryEndsTheStreamAfterTheData) {
    stage.hold(stage.cipher.seal("data") + stage.cipher.seal("x", Kind::Exhausting));
    EXPECT_EQ(held(), 4);
    EXPECT_EQ(stage.log.lines.back(), test::outOfMemoryLine());
    EXPECT_EQ(stage.receive(4), "data");
    EXPECT_EQ(held(), SOCKET_ERROR);
    stage.receive(1);
    EXPECT_EQ(stage.result, 0);
}

TEST_F(HeldBytes, selectReportsTheEndAsIfItHadDecryptedIt) {
    stage.hold(stage.cipher.seal("", Kind::Closure));
    held();
    fd_set set{};
    set.fd_count = 1;
    set.fd_array[0] = test::SecureStage<>::connection;
    EXPECT_EQ(stage.strategy->select(0, &set, nullptr, nullptr, nullptr), SOCKET_ERROR);
    EXPECT_TRUE(stage.lower->calls.empty());
}

class HeldAfterOverlapped : public test::OverlappedReceiver {};

TEST_F(HeldAfterOverlapped, drainDeliversTheRestWithoutTheNetworkAndALine) {
    post({4});
    fillAndComplete(stage.cipher.seal("data and more"));
    EXPECT_EQ(count, 4U);
    stage.lower->calls.clear();
    EXPECT_EQ(stage.strategy->heldBytes(), 9);
    EXPECT_EQ(stage.receive(9), " and more");
    EXPECT_EQ(stage.strategy->heldBytes(), 0);
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(HeldAfterOverlapped, closureIsReportedByTheNextCompletion) {
    post({4});
    fillAndComplete(stage.cipher.seal("data") + stage.cipher.seal("", Kind::Closure));
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(stage.strategy->heldBytes(), SOCKET_ERROR);
    post({4});
    EXPECT_EQ(complete(0), -1);
    EXPECT_EQ(stage.platform.lastError, WSAECONNRESET);
}

} // namespace
} // namespace VexaSsl
