#include "secure/ReceivedBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <span>
#include <string>
#include <utility>

namespace VexaSsl {
namespace {

class ReceivedBytesTest : public testing::Test {
protected:
    std::string plain() const { return {bytes.plain().begin(), bytes.plain().end()}; }
    std::string cipher() const { return {bytes.cipher().begin(), bytes.cipher().end()}; }
    void append(const std::string& text) { bytes.append(text.data(), text.size()); }

    // Decrypts a record whose plaintext is text, between a header and a trailer of one byte each.
    void open(std::size_t textSize) {
        const std::span<char> taken = bytes.takeCipher();
        bytes.appendPlain(taken.data() + 1, textSize);
        bytes.putBack(taken.subspan(textSize + 2));
    }

    ReceivedBytes bytes;
    char buffer[16] = "[lent][more]";
};

TEST_F(ReceivedBytesTest, plaintextStaysWhereItWasDecrypted) {
    bytes.borrow(buffer, 12);
    open(4);
    EXPECT_EQ(bytes.plain().data(), buffer + 1);
    EXPECT_EQ(plain(), "lent");
    EXPECT_EQ(cipher(), "[more]");
}

TEST_F(ReceivedBytesTest, secondRecordFollowsTheFirst) {
    bytes.borrow(buffer, 12);
    open(4);
    open(4);
    EXPECT_EQ(plain(), "lentmore");
    EXPECT_EQ(cipher(), "");
}

TEST_F(ReceivedBytesTest, keepMovesWhatIsHeldOutOfABorrowedBuffer) {
    bytes.borrow(buffer, 12);
    open(4);
    bytes.consume(1);
    bytes.keep(0);
    std::fill(std::begin(buffer), std::end(buffer), '#');
    EXPECT_EQ(plain(), "ent");
    EXPECT_EQ(cipher(), "[more]");
}

TEST_F(ReceivedBytesTest, borrowCopiesWhileBytesAreHeld) {
    append("[held]");
    bytes.borrow(buffer, 6);
    std::fill(std::begin(buffer), std::end(buffer), '#');
    EXPECT_EQ(cipher(), "[held][lent]");
}

TEST_F(ReceivedBytesTest, memoryIsTakenOverOnlyIfNothingIsHeld) {
    for (const bool isHeld : {false, true}) {
        ReceivedBytes::Memory memory(8, 'x');
        const char* const place = memory.data();
        append(isHeld ? "[held]" : "");
        bytes.append(std::move(memory), 3);
        bytes.keep(8); // moves nothing, as it isn't borrowed
        EXPECT_EQ(cipher(), isHeld ? "[held]xxx" : "xxx");
        EXPECT_EQ(bytes.cipher().data() == place, !isHeld);
        bytes = ReceivedBytes();
    }
}

TEST_F(ReceivedBytesTest, memoryThatWasTakenOverIsZeroWhenItIsSpare) {
    for (const bool isHeld : {false, true}) {
        ReceivedBytes::Memory memory(8, 'x');
        std::fill(memory.begin() + 6, memory.end(), '\0');
        append(isHeld ? "[held]" : "");
        bytes.append(std::move(memory), 6);
        EXPECT_EQ(bytes.takeSpare(8).empty(), !isHeld) << "in use unless the bytes were copied";
        bytes.takeCipher();
        bytes.release();
        const ReceivedBytes::Memory spare = bytes.takeSpare(isHeld ? 12 : 8);
        EXPECT_EQ(std::count(spare.begin(), spare.end(), '\0'), isHeld ? 0 : 8);
    }
}

TEST_F(ReceivedBytesTest, spareMemoryIsTakenOnceIfItIsLargeEnough) {
    bytes.append(ReceivedBytes::Memory(8, '\0'), 0);
    bytes.release();
    EXPECT_TRUE(bytes.takeSpare(9).empty());
    EXPECT_EQ(bytes.takeSpare(4).size(), 4U);
    EXPECT_TRUE(bytes.takeSpare(8).empty());
}

TEST_F(ReceivedBytesTest, bytesFollowInAnyMixOfAppendingAndConsuming) {
    std::string expected;
    for (int round = 0; round < 1000; ++round) {
        const std::string text(static_cast<std::size_t>(round * 7 % 50),
                               static_cast<char>('a' + round % 26));
        append("[" + text + "]");
        expected += text;
        if (round % 3 == 0) {
            bytes.keep(10);
        }
        open(text.size());
        const std::size_t count =
            std::min<std::size_t>(plain().size(), static_cast<std::size_t>(round * 11 % 60));
        EXPECT_EQ(plain(), expected);
        bytes.consume(count);
        expected.erase(0, count);
    }
}

TEST_F(ReceivedBytesTest, takenCiphertextIsLostUnlessItIsPutBack) {
    append("[held]");
    bytes.takeCipher();
    EXPECT_EQ(cipher(), "");
    append("[next]");
    EXPECT_EQ(cipher(), "[next]");
}

TEST_F(ReceivedBytesTest, appendingMovesNothingWhileThereIsRoom) {
    append("12345678");
    append("9"); // doubles the memory
    const char* const place = bytes.cipher().data();
    append("abcdefg");
    EXPECT_EQ(cipher(), "123456789abcdefg");
    EXPECT_EQ(bytes.cipher().data(), place);
}

TEST_F(ReceivedBytesTest, roomThatWasConsumedIsUsedAgainIfItSuffices) {
    for (const std::size_t count : {15U, 16U}) {
        append("[abcdef][ghijkl]");
        const char* const place = bytes.cipher().data();
        open(6);
        open(6);
        bytes.consume(11);
        append(std::string(count, 'x'));
        EXPECT_EQ(plain(), "l");
        EXPECT_EQ(cipher(), std::string(count, 'x'));
        EXPECT_EQ(bytes.plain().data() == place, count == 15);
        bytes = ReceivedBytes();
    }
}

TEST_F(ReceivedBytesTest, keepMovesSingleBytes) {
    bytes.borrow(buffer, 7);
    open(4);
    bytes.consume(3);
    bytes.keep(0);
    std::fill(std::begin(buffer), std::end(buffer), '#');
    EXPECT_EQ(plain(), "t");
    EXPECT_EQ(cipher(), "[");
}

TEST_F(ReceivedBytesTest, memoryIsGivenUpWithItsLastByte) {
    append("[held]");
    open(4);
    bytes.consume(4);
    bytes.keep(8);
    EXPECT_EQ(bytes.plain().data(), nullptr);
}

} // namespace
} // namespace VexaSsl
