#include "unit/secure/OverlappedStage.h"

namespace VexaSsl {
namespace {

using test::LogLine;
using test::ToyCipher;

constexpr SOCKET connection = test::SecureStage<>::connection;

class OverlappedCompletion : public test::OverlappedReceiver {};

TEST_F(OverlappedCompletion, hostsBufferReceivesThePlaintext) {
    post({100});
    EXPECT_EQ(fillAndComplete(stage.cipher.seal("data")), 0);
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(memory[0].substr(0, 5), "data#");
    EXPECT_TRUE(stage.strategy->pendingReceives.empty());
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(OverlappedCompletion, statusAndContextAreIgnored) {
    post({100});
    fill(stage.cipher.seal("data"));
    count = static_cast<DWORD>(stage.cipher.seal("data").size());
    EXPECT_EQ(stage.strategy->completeWSARecv(-1, &count, nullptr), 0);
    EXPECT_EQ(count, 4U);
}

TEST_F(OverlappedCompletion, completionWithoutPendingReceiveIsRefused) {
    stage.holdPlain("data");
    EXPECT_EQ(complete(4), SOCKET_ERROR);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(stage.platform.lastError, WSAEINVAL);
    EXPECT_EQ(onlyLine(),
              (LogLine{Severity::Error, L"completeWSARecv called without a pending receive"}));
    EXPECT_EQ(stage.heldPlain(), "data");
    EXPECT_EQ(stage.strategy->socket, connection);
}

TEST_F(OverlappedCompletion, buffersFillInOrder) {
    post({3, 0, 2, 100});
    fillAndComplete(stage.cipher.seal("abcdefg"));
    EXPECT_EQ(count, 7U);
    EXPECT_EQ(memory[0], "abc");
    EXPECT_EQ(memory[2], "de");
    EXPECT_EQ(memory[3].substr(0, 3), "fg#");
}

TEST_F(OverlappedCompletion, transferWithinTheFirstShadowBufferLeavesTheSecondUnread) {
    post({100, 100});
    const std::string wire = stage.cipher.seal("data");
    fill(wire);
    stage.strategy->pendingReceives.front().shadowBuffers[1].bytes[0] = 'X';
    complete(static_cast<DWORD>(wire.size()));
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(stage.heldCipher(), "");
}

// Ciphertext of this size: whole records, then part of one.
std::string wireOf(const ToyCipher& cipher, std::size_t size) {
    std::string wire = cipher.seal("data");
    wire += cipher.seal(std::string(60'000, 'x'));
    return wire.substr(0, size);
}

TEST_F(OverlappedCompletion, transferOfExactlyTheFirstShadowBufferTakesOnlyThat) {
    post({100, 100});
    const std::string wire = wireOf(stage.cipher, 1024);
    fill(wire);
    complete(1024);
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(stage.heldCipher(), wire.substr(stage.cipher.seal("data").size()));
}

TEST_F(OverlappedCompletion, oneByteMoreTakesBothShadowBuffers) {
    post({100, 100});
    const std::string wire = wireOf(stage.cipher, 1025);
    fill(wire);
    complete(1025);
    EXPECT_EQ(stage.heldCipher(), wire.substr(stage.cipher.seal("data").size()));
}

TEST_F(OverlappedCompletion, oneAndAHalfRecordsDeliverOneAndKeepTheHalf) {
    post({100});
    const std::string second = stage.cipher.seal("second");
    EXPECT_EQ(fillAndComplete(stage.cipher.seal("first") + second.substr(0, 7)), 0);
    EXPECT_EQ(count, 5U);
    EXPECT_EQ(stage.heldCipher(), second.substr(0, 7));
    post({100});
    EXPECT_EQ(fillAndComplete(second.substr(7)), 0);
    EXPECT_EQ(count, 6U);
    EXPECT_EQ(memory[0].substr(0, 6), "second");
}

TEST_F(OverlappedCompletion, surplusPlaintextIsKeptAndDeliveredFirstNextTime) {
    post({4, 2});
    fillAndComplete(stage.cipher.seal("abcdefghi"));
    EXPECT_EQ(count, 6U);
    EXPECT_EQ(memory[0] + memory[1], "abcdef");
    EXPECT_EQ(stage.heldPlain(), "ghi");
    post({100});
    fillAndComplete(stage.cipher.seal("jkl"));
    EXPECT_EQ(count, 6U);
    EXPECT_EQ(memory[0].substr(0, 6), "ghijkl");
}

TEST_F(OverlappedCompletion, closureAfterTheBytesThatWereMissingIsNotRead) {
    const std::string closure = stage.cipher.seal("", ToyCipher::Kind::Closure);
    stage.holdPlain("ab");
    post({4});
    EXPECT_EQ(fillAndComplete(stage.cipher.seal("cd") + closure), 0);
    EXPECT_EQ(memory[0], "abcd");
    EXPECT_EQ(stage.heldCipher(), closure);
}

TEST_F(OverlappedCompletion, lessThanARecordGivesZeroAndOneWarning) {
    post({100});
    EXPECT_EQ(fillAndComplete(stage.cipher.seal("data").substr(0, 9)), 0);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(onlyLine(), tooFew());
    EXPECT_EQ(stage.platform.lastError, WSA_IO_PENDING);
}

TEST_F(OverlappedCompletion, zeroBytesTakeAnEntryAndStillServePlaintext) {
    stage.holdPlain("held");
    post({100});
    EXPECT_EQ(complete(0), 0);
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(memory[0].substr(0, 4), "held");
    EXPECT_TRUE(stage.strategy->pendingReceives.empty());
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(OverlappedCompletion, endOfTheStreamLooksLikeNothingYet) {
    post({100});
    EXPECT_EQ(complete(0), 0);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(onlyLine(), tooFew());
}

TEST_F(OverlappedCompletion, failureOnTheSecondBufferCountsNothing) {
    post({4, 100});
    const std::string wire =
        stage.cipher.seal("data") + stage.cipher.seal("", ToyCipher::Kind::Altered);
    EXPECT_EQ(fillAndComplete(wire), SEC_E_MESSAGE_ALTERED);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(memory[0], "data") << "filled but lost";
    EXPECT_EQ(stage.log.lines.back(), tooFew());
}

TEST_F(OverlappedCompletion, endedContextBreaksThenSetsConnectionReset) {
    for (const auto kind : {ToyCipher::Kind::Closure, ToyCipher::Kind::Renegotiation}) {
        post({100});
        stage.forget();
        EXPECT_EQ(fillAndComplete(stage.cipher.seal("", kind)), -1);
        EXPECT_EQ(count, 0U);
        EXPECT_EQ(stage.platform.lastError, WSAECONNRESET);
        ASSERT_GE(stage.platform.calls.size(), 2U);
        EXPECT_EQ(stage.platform.calls.end()[-2], "DebugBreak");
        EXPECT_EQ(stage.platform.calls.back(), "WSASetLastError");
        EXPECT_EQ(stage.log.lines.back(), tooFew());
    }
}

TEST_F(OverlappedCompletion, otherStatusBreaksAndIsReturnedAsItStands) {
    for (const auto kind : {ToyCipher::Kind::Garbage, ToyCipher::Kind::Altered}) {
        post({100});
        stage.platform.lastError = test::unrelatedError;
        stage.forget();
        const int status =
            kind == ToyCipher::Kind::Garbage ? SEC_E_INVALID_TOKEN : SEC_E_MESSAGE_ALTERED;
        EXPECT_EQ(fillAndComplete(stage.cipher.seal("", kind)), status);
        EXPECT_EQ(stage.platform.lastError, test::unrelatedError);
        EXPECT_EQ(stage.platformCalls("DebugBreak"), 1);
        EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
        EXPECT_EQ(stage.log.lines.back(), tooFew());
    }
}

TEST_F(OverlappedCompletion, completionsAreMatchedInTheOrderOfPosting) {
    post({100});
    const std::vector<WSABUF> firstPosted = posted;
    const std::vector<std::string> firstMemory = std::move(memory);
    post({100});
    posted = firstPosted;
    fill(stage.cipher.seal("one"));
    complete(static_cast<DWORD>(stage.cipher.seal("one").size()));
    EXPECT_EQ(firstMemory[0].substr(0, 3), "one");
    EXPECT_EQ(memory[0][0], '#');
    EXPECT_EQ(stage.strategy->pendingReceives.size(), 1U);
}

TEST_F(OverlappedCompletion, shadowBuffersStayInPlaceWhileOthersComeAndGo) {
    post({100});
    complete(0);
    post({100});
    const char* const bytes = posted[0].buf;
    for (int i = 0; i < 1000; ++i) {
        post({10});
    }
    EXPECT_EQ(stage.strategy->pendingReceives.front().shadowBuffers[0].bytes.data(), bytes);
}

TEST_F(OverlappedCompletion, exceptionsForgetTheSocketBeforeTheirLine) {
    for (const auto kind :
         {ToyCipher::Kind::Failing, ToyCipher::Kind::Exhausting, ToyCipher::Kind::Odd}) {
        stage.strategy->socket = connection;
        post({100});
        stage.platform.lastError = test::unrelatedError;
        stage.log.onLine = [&](Severity, const std::wstring&) {
            EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
        };
        EXPECT_EQ(fillAndComplete(stage.cipher.seal("", kind)), SOCKET_ERROR);
        EXPECT_EQ(count, 0U);
    }
    EXPECT_EQ(
        stage.log.lines,
        (std::vector<LogLine>{
            {Severity::Error, L"Couldn't acquire a resource. toy"},
            test::outOfMemoryLine(),
            {Severity::Error, L"An unexpected C++ standard library exception occurred: odd"}}));
    EXPECT_EQ(stage.platform.lastError, test::unrelatedError);
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
}

} // namespace
} // namespace VexaSsl
