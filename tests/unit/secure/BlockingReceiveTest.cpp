#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

namespace VexaSsl {
namespace {

using test::LogLine;
using test::ToyCipher;

constexpr int hundred = 100;
constexpr int outOfBand = 1;

class BlockingReceive : public testing::Test {
protected:
    void SetUp() override { stage.makeConnected(); }

    test::SecureStage<> stage;
};

TEST_F(BlockingReceive, lengthOfZeroMakesNoNetworkCall) {
    stage.hold(stage.cipher.seal("data"));
    stage.receive(0);
    EXPECT_EQ(stage.result, 0);
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_EQ(stage.cipher.decryptCalls, 0);
}

TEST_F(BlockingReceive, peekWithWaitAllIsRefusedWhateverIsHeld) {
    stage.holdPlain("data");
    for (const int length : {0, 4}) {
        stage.platform.lastError = 0;
        stage.receive(length, msgPeek | msgWaitAll);
        EXPECT_EQ(stage.result, SOCKET_ERROR);
        EXPECT_EQ(stage.platform.lastError, WSAEOPNOTSUPP);
    }
    EXPECT_EQ(stage.heldPlain(), "data");
    EXPECT_TRUE(stage.lower->calls.empty());
}

TEST_F(BlockingReceive, otherFlagsHaveNoEffectAndDontReachTheSocket) {
    const auto read = stage.lower->onRecv;
    stage.lower->onRecv = [&](SOCKET s, char* buf, int len, int flags) {
        EXPECT_EQ(flags, 0);
        return read(s, buf, len, flags);
    };
    stage.arriveSealed("data");
    EXPECT_EQ(stage.receive(4, outOfBand | 0x4000), "data");
}

TEST_F(BlockingReceive, eachReadRequestsOneRecordOnTheCallersSocket) {
    const auto read = stage.lower->onRecv;
    stage.lower->onRecv = [&](SOCKET s, char* buf, int len, int flags) {
        EXPECT_EQ(s, SOCKET{99});
        EXPECT_EQ(len, 112);
        EXPECT_EQ(buf, stage.strategy->record->receiveBuffer.data());
        return read(s, buf, len, flags);
    };
    stage.arriveSealed("data");
    char buffer[4];
    EXPECT_EQ(stage.strategy->recv(99, buffer, 4, 0), 4);
}

TEST_F(BlockingReceive, pollForMoreUsesTheStrategysSocketWithoutWaiting) {
    stage.lower->onSelect = [&](int nfds, fd_set* readable, fd_set* writable, fd_set* exceptional,
                                const timeval* time) {
        EXPECT_EQ(nfds, 0);
        EXPECT_EQ(readable->fd_count, 1U);
        EXPECT_EQ(readable->fd_array[0], SOCKET{55});
        EXPECT_EQ(writable, nullptr);
        EXPECT_EQ(exceptional, nullptr);
        EXPECT_EQ(time->tv_sec, 0);
        EXPECT_EQ(time->tv_usec, 0);
        return 0;
    };
    stage.strategy->socket = 55; // and not the record's or the caller's
    stage.holdPlain("da");
    char buffer[4];
    EXPECT_EQ(stage.strategy->recv(99, buffer, 4, 0), 2);
    EXPECT_EQ(stage.lowerCalls("select"), 1);
}

TEST_F(BlockingReceive, surplusOfARecordServesTheNextReadsWithoutTheNetwork) {
    stage.arriveSealed(std::string(100, 'x'));
    EXPECT_EQ(stage.receive(10), std::string(10, 'x'));
    EXPECT_EQ(stage.heldPlain().size(), 90U);
    stage.arriveSealed("behind");
    stage.forget();
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(stage.receive(10), std::string(10, 'x'));
    }
    EXPECT_TRUE(stage.lower->calls.empty());
}

TEST_F(BlockingReceive, readThatIsShortFetchesBytesThatAreReady) {
    stage.holdPlain("held");
    stage.arriveSealed("fresh");
    EXPECT_EQ(stage.receive(hundred), "heldfresh");
}

TEST_F(BlockingReceive, readThatIsServedInFullNeitherLooksForMoreNorReadsIt) {
    stage.arriveSealed("fresh");
    stage.arriveSealed("more");
    EXPECT_EQ(stage.receive(5), "fresh");
    EXPECT_EQ(stage.lower->calls, (std::vector<std::string>{"select", "recv"}));
}

TEST_F(BlockingReceive, readThatIsShortReturnsWhatItHasWhenNothingIsReady) {
    stage.holdPlain(std::string(40, 'x'));
    EXPECT_EQ(stage.receive(hundred), std::string(40, 'x'));
    EXPECT_EQ(stage.lowerCalls("recv"), 0);
}

TEST_F(BlockingReceive, waitAllContinuesForTheRest) {
    stage.holdPlain(std::string(40, 'x'));
    stage.lower->onSelect = [](auto...) { return 0; };
    stage.arriveSealed(std::string(30, 'y'));
    stage.arriveSealed(std::string(30, 'z'));
    EXPECT_EQ(stage.receive(hundred, msgWaitAll),
              std::string(40, 'x') + std::string(30, 'y') + std::string(30, 'z'));
    EXPECT_EQ(stage.lowerCalls("recv"), 2);
}

TEST_F(BlockingReceive, waitAllEndsWithAPartWhenThePeerCloses) {
    stage.arriveSealed("part");
    stage.peerCloses();
    EXPECT_EQ(stage.receive(hundred, msgWaitAll), "part");
}

TEST_F(BlockingReceive, closingInTheMiddleOfARecordGivesWhatWasDelivered) {
    const std::string half = stage.cipher.seal("lost").substr(0, 9);
    stage.arrive(stage.cipher.seal("data") + half);
    stage.peerCloses();
    EXPECT_EQ(stage.receive(hundred), "data");
    EXPECT_EQ(stage.heldCipher(), half);
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
}

TEST_F(BlockingReceive, closingInTheMiddleOfTheFirstRecordGivesZero) {
    stage.arrive("D");
    stage.peerCloses();
    stage.receive(hundred);
    EXPECT_EQ(stage.result, 0);
    EXPECT_EQ(stage.heldCipher(), "D");
    EXPECT_EQ(stage.platformCalls("DebugBreak"), 0);
}

TEST_F(BlockingReceive, ciphertextByteByByteLogsARisingCountWithoutWhatWasHeld) {
    const std::string wire = stage.cipher.seal("hi");
    stage.hold(wire.substr(0, 3));
    for (const char byte : wire.substr(3)) {
        stage.arrive(std::string(1, byte));
    }
    EXPECT_EQ(stage.receive(2), "hi");
    std::vector<LogLine> expected;
    for (std::size_t i = 1; i < wire.size() - 3; ++i) {
        expected.push_back(
            {Severity::Debug, L"Haven't received enough data to decrypt. So far, have received [" +
                                  std::to_wstring(i) + L"]"});
    }
    EXPECT_EQ(stage.log.lines, expected);
}

TEST_F(BlockingReceive, recordLargerThanOneReadIsPutTogether) {
    stage.cipher.maximumMessageSize = 300; // the peer's records are larger than the read buffer
    stage.arriveSealed(std::string(300, 'x'));
    EXPECT_EQ(stage.receive(300), std::string(300, 'x'));
    EXPECT_EQ(stage.lowerCalls("recv"), 3);
}

TEST_F(BlockingReceive, emptyRecordIsNoEndOfStream) {
    stage.arriveSealed("");
    stage.arriveSealed("data");
    EXPECT_EQ(stage.receive(4), "data");
}

TEST_F(BlockingReceive, closureAfterDataIsNotReadWhileTheDataSuffices) {
    const std::string closure = stage.cipher.seal("", ToyCipher::Kind::Closure);
    stage.arrive(stage.cipher.seal("data") + closure);
    EXPECT_EQ(stage.receive(4), "data");
    EXPECT_EQ(stage.platformCalls("DebugBreak"), 0);
    EXPECT_EQ(stage.heldCipher(), closure);
    EXPECT_EQ(stage.receive(4), "");
    EXPECT_EQ(stage.result, 0);
    EXPECT_EQ(stage.platformCalls("DebugBreak"), 1);
}

TEST_F(BlockingReceive, closureAfterTheBytesThatWereMissingIsNotRead) {
    const std::string closure = stage.cipher.seal("", ToyCipher::Kind::Closure);
    stage.holdPlain("ab");
    stage.hold(stage.cipher.seal("cd") + closure);
    EXPECT_EQ(stage.receive(4), "abcd");
    EXPECT_EQ(stage.heldCipher(), closure);
}

TEST_F(BlockingReceive, closureReadAfterDataHidesTheDataForOneCall) {
    stage.arrive(stage.cipher.seal("data") + stage.cipher.seal("", ToyCipher::Kind::Closure));
    EXPECT_EQ(stage.receive(hundred), "");
    EXPECT_EQ(stage.result, 0);
    EXPECT_EQ(stage.platformCalls("DebugBreak"), 1);
    EXPECT_EQ(stage.heldPlain(), "data");
    EXPECT_EQ(stage.receive(4), "data");
}

TEST_F(BlockingReceive, peersClosureLooksLikeTheEndWithOneErrorLine) {
    stage.arriveSealed("", ToyCipher::Kind::Closure);
    stage.receive(4);
    EXPECT_EQ(stage.result, 0);
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{
                  {Severity::Error, L"DecryptMessage failed with: 590615 (text of 590615)"}}));
    EXPECT_EQ(stage.platformCalls("DebugBreak"), 1);
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
}

TEST_F(BlockingReceive, renegotiationEndsTheReadEvenWithBytesDelivered) {
    stage.holdPlain("held");
    stage.arriveSealed("", ToyCipher::Kind::Renegotiation);
    stage.receive(hundred);
    EXPECT_EQ(stage.result, 0);
    EXPECT_EQ(stage.platformCalls("DebugBreak"), 1);
    EXPECT_EQ(stage.heldPlain(), "") << "the bytes are in the buffer but not counted";
}

TEST_F(BlockingReceive, everyFailingStatusOfHeldCiphertextBreaksAndGivesZero) {
    for (const auto kind : {ToyCipher::Kind::Closure, ToyCipher::Kind::Renegotiation,
                            ToyCipher::Kind::Garbage, ToyCipher::Kind::Altered}) {
        stage.forget();
        stage.hold(stage.cipher.seal("", kind));
        stage.receive(4);
        EXPECT_EQ(stage.result, 0);
        EXPECT_EQ(stage.platformCalls("DebugBreak"), 1);
        EXPECT_TRUE(stage.lower->calls.empty());
    }
}

TEST_F(BlockingReceive, damagedRecordFromTheNetworkBreaksAndTheStreamContinues) {
    stage.arriveSealed("lost", ToyCipher::Kind::Altered);
    stage.arriveSealed("lost", ToyCipher::Kind::Garbage);
    stage.arriveSealed("data");
    EXPECT_EQ(stage.receive(4), "data");
    EXPECT_EQ(stage.platformCalls("DebugBreak"), 2);
}

TEST_F(BlockingReceive, failedReadLosesPlaintextAlreadyCopied) {
    stage.holdPlain("held");
    stage.lower->onSelect = [](auto...) { return 1; };
    stage.lower->onRecv = [&](auto...) {
        stage.platform.lastError = WSAECONNRESET;
        return SOCKET_ERROR;
    };
    stage.receive(hundred);
    EXPECT_EQ(stage.result, SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, WSAECONNRESET);
    EXPECT_EQ(stage.heldPlain(), "");
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
}

TEST_F(BlockingReceive, failedPollForMoreCountsAsMore) {
    stage.holdPlain("da");
    stage.lower->onSelect = [](auto...) { return SOCKET_ERROR; };
    stage.arriveSealed("ta");
    EXPECT_EQ(stage.receive(4), "data");
}

TEST_F(BlockingReceive, peekKeepsWhatItReadFromTheNetwork) {
    stage.arriveSealed("data");
    EXPECT_EQ(stage.receive(4, msgPeek), "data");
    EXPECT_EQ(stage.heldPlain(), "data");
    EXPECT_EQ(stage.receive(4), "data");
}

TEST_F(BlockingReceive, secondPassOfAPeekCountsTheFirstBytesTwice) {
    stage.holdPlain("abc");
    stage.arriveSealed("def");
    EXPECT_EQ(stage.receive(hundred, msgPeek), "abcabcdef");
    EXPECT_EQ(stage.heldPlain(), "abcdef");
}

TEST_F(BlockingReceive, negativeLengthIsRefused) {
    EXPECT_EQ(stage.strategy->recv(7, nullptr, -1, 0), SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, WSAEINVAL);
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{{Severity::Error, L"recv called with a negative length"}}));
    EXPECT_TRUE(stage.lower->calls.empty());
}

TEST_F(BlockingReceive, runtimeErrorIsLoggedWithThePrefixOfSend) {
    stage.arriveSealed("", ToyCipher::Kind::Failing);
    stage.receive(4);
    EXPECT_EQ(stage.result, SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{{Severity::Error, L"Can't send encrypted messagetoy"}}));
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
}

TEST_F(BlockingReceive, exhaustedMemoryIsLogged) {
    stage.arriveSealed("", ToyCipher::Kind::Exhausting);
    stage.receive(4);
    EXPECT_EQ(stage.result, SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines, (std::vector<LogLine>{test::outOfMemoryLine()}));
}

TEST_F(BlockingReceive, otherExceptionIsLogged) {
    stage.arriveSealed("", ToyCipher::Kind::Odd);
    stage.receive(4);
    EXPECT_EQ(stage.result, SOCKET_ERROR);
    EXPECT_EQ(
        stage.log.lines,
        (std::vector<LogLine>{
            {Severity::Error, L"An unexpected C++ standard library exception occurred: odd"}}));
}

} // namespace
} // namespace VexaSsl
