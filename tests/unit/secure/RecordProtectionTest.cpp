#include "fakes/SecureConnection.h"

#include <gmock/gmock.h>

#include <set>
#include <span>
#include <stdexcept>
#include <type_traits>

namespace VexaSsl {
namespace {

using test::LogLine;
using test::ToyCipher;

constexpr DWORD plenty = 100'000;

class RecordProtection : public testing::Test {
protected:
    void SetUp() override { stage.makeConnected(); }
    SecureSocketRecord& record() { return *stage.strategy->record; }

    SECURITY_STATUS decrypt(DWORD wanted) {
        gained = 4711;
        return record().decryptAvailable(wanted, gained);
    }
    std::string read(DWORD length, bool peek = false) {
        std::string buffer(length, '#');
        status = record().readPlain(buffer.data(), length, peek, delivered);
        return buffer.substr(0, delivered);
    }
    SECURITY_STATUS encrypt(std::string_view plain) {
        size = 4711;
        return record().encryptRecord(plain.data(), static_cast<DWORD>(plain.size()),
                                      record().sendBuffer.data(), size);
    }
    std::string wire() { return {record().sendBuffer.data(), size}; }

    test::SecureStage<> stage;
    DWORD gained = 0;
    DWORD delivered = 0;
    DWORD size = 0;
    SECURITY_STATUS status = SEC_E_OK;
};

TEST_F(RecordProtection, workBuffersHoldExactlyOneRecord) {
    EXPECT_EQ(record().streamSizes->recordSize, 4U + 100U + 8U);
    EXPECT_EQ(record().streamSizes->headerSize, 4U);
    EXPECT_EQ(record().streamSizes->maximumMessageSize, 100U);
    EXPECT_EQ(record().streamSizes->trailerSize, 8U);
    EXPECT_EQ(record().streamSizes->overheadSize, 12U);
    EXPECT_EQ(record().sendBuffer.size(), 112U);
    EXPECT_EQ(record().receiveBuffer.size(), 112U);
}

TEST_F(RecordProtection, workBuffersStartAsZeros) {
    stage.cipher.maximumMessageSize = 5000;
    { const std::vector<std::vector<char>> leavesUsedMemory(4, std::vector<char>(5012, 'x')); }
    record().queryStreamSizes();
    EXPECT_THAT(record().sendBuffer, testing::Each('\0'));
    EXPECT_THAT(record().receiveBuffer, testing::Each('\0'));
}

TEST_F(RecordProtection, sizesAreQueriedFromTheRecordsContext) {
    EXPECT_EQ(record().streamSizes->securityContext, record().securityContext.address());
    EXPECT_EQ(&record().streamSizes->log, &stage.log);
}

TEST_F(RecordProtection, failedQueryOfSizesIsLoggedAndThrown) {
    for (const SECURITY_STATUS failing : {SEC_E_INVALID_HANDLE, SEC_I_CONTEXT_EXPIRED}) {
        stage.cipher.sizesStatus = failing;
        try {
            record().queryStreamSizes();
            FAIL() << "nothing was thrown";
        } catch (const std::runtime_error& failure) {
            EXPECT_STREQ(failure.what(), "::QueryContextAttributes failed");
        }
    }
    EXPECT_EQ(
        stage.log.lines,
        (std::vector<LogLine>{
            {Severity::Error,
             L"QueryContextAttributes failed with: 2148074241 (text of 2148074241)"},
            {Severity::Error, L"QueryContextAttributes failed with: 590615 (text of 590615)"}}));
}

TEST_F(RecordProtection, encryptedRecordStandsInTheSendBuffer) {
    EXPECT_EQ(encrypt("hello"), SEC_E_OK);
    EXPECT_EQ(size, 5 + stage.cipher.overhead());
    EXPECT_EQ(stage.cipher.open(wire()), "hello");
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(RecordProtection, largestMessageKeepsEveryByte) {
    stage.cipher.maximumMessageSize = 16384;
    record().queryStreamSizes();
    std::string plain(16384, '\0');
    for (std::size_t i = 0; i < plain.size(); ++i) {
        plain[i] = static_cast<char>(i * 7 + i / 251);
    }
    EXPECT_EQ(encrypt(plain), SEC_E_OK);
    EXPECT_EQ(stage.cipher.open(wire()), plain);
}

TEST_F(RecordProtection, shrunkTrailerShortensTheRecordAndIsLogged) {
    stage.cipher.usedTrailer = 3;
    EXPECT_EQ(encrypt("hello"), SEC_E_OK);
    EXPECT_EQ(size, 4U + 5U + 3U);
    EXPECT_EQ(stage.cipher.open(wire()), "hello");
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{
                  {Severity::Debug, L"EncryptMessage stripped [5] bytes of trailer padding"}}));
}

TEST_F(RecordProtection, eachRecordStartsAgainFromTheFullTrailer) {
    stage.cipher.usedTrailer = 3;
    encrypt("hello");
    EXPECT_EQ(encrypt("again"), SEC_E_OK); // the toy cipher checks the size
    EXPECT_EQ(record().streamSizes->trailerSize, 8U);
    EXPECT_EQ(stage.log.lines.size(), 2U);
}

TEST_F(RecordProtection, failedEncryptionIsLoggedAndGivesNoBytes) {
    stage.cipher.encryptStatus = SEC_E_ENCRYPT_FAILURE;
    EXPECT_EQ(encrypt("hello"), SEC_E_ENCRYPT_FAILURE);
    EXPECT_EQ(size, 0U);
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{{Severity::Error, L"EncryptMessage failed with: 2148074281 "
                                                      L"(text of 2148074281)"}}));
}

TEST_F(RecordProtection, ciphertextArrivingByteByByteIsTriedOncePerByte) {
    const std::string wire = stage.cipher.seal("hello");
    for (std::size_t i = 0; i + 1 < wire.size(); ++i) {
        record().appendCipher(wire.data() + i, 1);
        EXPECT_EQ(decrypt(5), SEC_E_INCOMPLETE_MESSAGE);
        EXPECT_EQ(stage.heldCipher(), wire.substr(0, i + 1));
        EXPECT_EQ(decrypt(5), SEC_E_OK) << "without a new byte nothing is tried";
        EXPECT_EQ(stage.cipher.decryptCalls, static_cast<int>(i + 1));
    }
    record().appendCipher(wire.data() + wire.size() - 1, 1);
    EXPECT_EQ(decrypt(5), SEC_E_OK);
    EXPECT_EQ(gained, 5U);
    EXPECT_EQ(stage.heldPlain(), "hello");
    EXPECT_TRUE(stage.log.lines.empty()) << "a partial record is no failure";
}

TEST_F(RecordProtection, twoAndAHalfRecordsWithLittleWantedOpenOne) {
    const std::string second = stage.cipher.seal("second");
    const std::string half = stage.cipher.seal("third").substr(0, 9);
    stage.hold(stage.cipher.seal("first") + second + half);
    EXPECT_EQ(decrypt(1), SEC_E_OK);
    EXPECT_EQ(gained, 5U);
    EXPECT_EQ(stage.heldPlain(), "first");
    EXPECT_EQ(stage.heldCipher(), second + half);
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{{Severity::Debug, L"Found [27] extra useful bytes"}}));
}

TEST_F(RecordProtection, twoAndAHalfRecordsWithMuchWantedOpenTwo) {
    const std::string half = stage.cipher.seal("third").substr(0, 9);
    stage.hold(stage.cipher.seal("first") + stage.cipher.seal("second") + half);
    EXPECT_EQ(decrypt(plenty), SEC_E_INCOMPLETE_MESSAGE);
    EXPECT_EQ(gained, 11U);
    EXPECT_EQ(stage.heldPlain(), "firstsecond");
    EXPECT_EQ(stage.heldCipher(), half);
    EXPECT_TRUE(record().incompleteRecord);
    EXPECT_EQ(stage.cipher.decryptCalls, 3);
}

TEST_F(RecordProtection, emptyRecordAddsNothingAndTheNextIsTried) {
    stage.hold(stage.cipher.seal("") + stage.cipher.seal("data"));
    EXPECT_EQ(decrypt(1), SEC_E_OK);
    EXPECT_EQ(gained, 4U);
    EXPECT_EQ(stage.heldPlain(), "data");
    EXPECT_EQ(stage.cipher.decryptCalls, 2);
}

TEST_F(RecordProtection, wantingNothingTouchesNothing) {
    stage.hold(stage.cipher.seal("data"));
    EXPECT_EQ(decrypt(0), SEC_E_OK);
    EXPECT_EQ(gained, 0U);
    EXPECT_EQ(stage.cipher.decryptCalls, 0);
    EXPECT_EQ(stage.heldCipher(), stage.cipher.seal("data"));
}

TEST_F(RecordProtection, readServedFromPlaintextDecryptsNothing) {
    stage.holdPlain("hello");
    stage.hold(stage.cipher.seal("more"));
    EXPECT_EQ(read(5), "hello");
    EXPECT_EQ(status, SEC_E_OK);
    EXPECT_EQ(stage.cipher.decryptCalls, 0);
}

TEST_F(RecordProtection, peekingTwiceGivesTheSameBytes) {
    stage.hold(stage.cipher.seal("hello"));
    EXPECT_EQ(read(3, true), "hel");
    EXPECT_EQ(read(3, true), "hel");
    EXPECT_EQ(stage.heldPlain(), "hello");
}

TEST_F(RecordProtection, partialRecordIsReportedTogetherWithWhatWasDelivered) {
    stage.hold(stage.cipher.seal("hello") + "D");
    EXPECT_EQ(read(10), "hello");
    EXPECT_EQ(status, SEC_E_INCOMPLETE_MESSAGE);
}

TEST_F(RecordProtection, failedReadDeliversNothingAndKeepsPlaintext) {
    stage.holdPlain("held");
    stage.hold(stage.cipher.seal("", ToyCipher::Kind::Altered));
    EXPECT_EQ(read(10), "");
    EXPECT_EQ(status, SEC_E_MESSAGE_ALTERED);
    EXPECT_EQ(delivered, 0U);
    EXPECT_EQ(stage.heldPlain(), "held");
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{{Severity::Error, L"DecryptMessage failed with: 2148074255 "
                                                      L"(text of 2148074255)"}}));
}

TEST_F(RecordProtection, peersClosureIsAnErrorLineAndDropsTheCiphertext) {
    stage.hold(stage.cipher.seal("data") + stage.cipher.seal("", ToyCipher::Kind::Closure) +
               stage.cipher.seal("behind"));
    EXPECT_EQ(decrypt(plenty), SEC_I_CONTEXT_EXPIRED);
    EXPECT_EQ(gained, 4U);
    EXPECT_EQ(stage.heldCipher(), "");
    EXPECT_EQ(stage.heldPlain(), "data");
    EXPECT_EQ(stage.log.lines.back(),
              (LogLine{Severity::Error, L"DecryptMessage failed with: 590615 (text of 590615)"}));
}

TEST_F(RecordProtection, renegotiationIsLoggedAndItsBytesAreDropped) {
    stage.hold(stage.cipher.seal("lost", ToyCipher::Kind::Renegotiation) +
               stage.cipher.seal("behind"));
    EXPECT_EQ(decrypt(plenty), SEC_I_RENEGOTIATE);
    EXPECT_EQ(gained, 0U);
    EXPECT_EQ(stage.heldPlain(), "");
    EXPECT_EQ(stage.heldCipher(), "");
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{{Severity::Info, L"Renegotiate request received"}}));
}

TEST_F(RecordProtection, invalidTokenLeavesNoLine) {
    stage.hold(stage.cipher.seal("", ToyCipher::Kind::Garbage));
    EXPECT_EQ(decrypt(1), SEC_E_INVALID_TOKEN);
    EXPECT_TRUE(stage.log.lines.empty());
    EXPECT_EQ(stage.heldCipher(), "");
}

TEST_F(RecordProtection, missingCountIsThatOfThePackage) {
    std::string part = stage.cipher.seal("hello").substr(0, 6);
    DWORD missing = 4711;
    EXPECT_EQ(record().decryptRecord(part.data(), 6, missing), SEC_E_INCOMPLETE_MESSAGE);
    EXPECT_EQ(missing, 5 + stage.cipher.overhead() - 6);
}

TEST_F(RecordProtection, missingCountIsZeroWhenThePackageGivesNone) {
    stage.cipher.reportsMissing = false;
    std::string part = "DD";
    DWORD missing = 4711;
    EXPECT_EQ(record().decryptRecord(part.data(), 2, missing), SEC_E_INCOMPLETE_MESSAGE);
    EXPECT_EQ(missing, 0U);
    EXPECT_TRUE(record().incompleteRecord);
}

TEST_F(RecordProtection, missingCountIsZeroForAWholeRecord) {
    std::string whole = stage.cipher.seal("hello");
    DWORD missing = 4711;
    EXPECT_EQ(record().decryptRecord(whole.data(), static_cast<DWORD>(whole.size()), missing),
              SEC_E_OK);
    EXPECT_EQ(missing, 0U);
}

TEST_F(RecordProtection, buffersOfADecryptionAreFoundByTheirTypes) {
    stage.cipher.reversesBuffers = true;
    std::string part = stage.cipher.seal("hello").substr(0, 6);
    stage.hold(stage.cipher.seal("data") + part);
    EXPECT_EQ(decrypt(1), SEC_E_OK);
    EXPECT_EQ(stage.heldPlain(), "data");
    EXPECT_EQ(stage.heldCipher(), part);
    DWORD missing = 4711;
    EXPECT_EQ(record().decryptRecord(part.data(), 6, missing), SEC_E_INCOMPLETE_MESSAGE);
    EXPECT_EQ(missing, 5 + stage.cipher.overhead() - 6);
}

TEST_F(RecordProtection, appendingNothingLeavesAPartialRecordPartial) {
    stage.hold("D");
    decrypt(1);
    record().appendCipher(nullptr, 0);
    EXPECT_TRUE(record().incompleteRecord);
    record().appendCipher("D", 1);
    EXPECT_FALSE(record().incompleteRecord);
}

TEST_F(RecordProtection, outputThatIsNotPartOfTheInputIsAnInternalError) {
    struct Case {
        const char* name;
        int plaintextOffset;
        ULONG plaintextSize;
        ULONG extraSize;
        int secondOffset = 0; // of more plaintext
        ULONG secondSize = 0;
    };
    // The input is two records of 16 bytes; the plaintext of the first has 4 bytes at 4.
    for (const Case& shown :
         {Case{"the bytes that follow are more than the input", 4, 4, 33},
          Case{"they are all of the input", 4, 0, 32}, Case{"they include plaintext", 4, 4, 25},
          Case{"plaintext starts before", -5, 4, 16}, Case{"plaintext starts after", 33, 4, 16},
          Case{"plaintext is longer", 4, 13, 16}, Case{"plaintext comes twice", 4, 4, 16, 4, 4},
          Case{"plaintext comes in another order", 8, 4, 16, 4, 4}}) {
        SCOPED_TRACE(shown.name);
        stage.platform.DecryptMessage = [=](CtxtHandle*, SecBufferDesc* message, ULONG, ULONG*) {
            SecBuffer* const buffers = message->pBuffers;
            char* const record = static_cast<char*>(buffers[0].pvBuffer);
            buffers[0].BufferType = SECBUFFER_STREAM_HEADER;
            buffers[1] = {shown.plaintextSize, SECBUFFER_DATA, record + shown.plaintextOffset};
            buffers[2] = {shown.secondSize, SECBUFFER_DATA, record + shown.secondOffset};
            buffers[3] = {shown.extraSize, SECBUFFER_EXTRA, nullptr};
            return SEC_E_OK;
        };
        stage.log.lines.clear();
        stage.hold(stage.cipher.seal("data") + stage.cipher.seal("next"));
        EXPECT_EQ(decrypt(1), SEC_E_INTERNAL_ERROR);
        EXPECT_EQ(gained, 0U);
        EXPECT_EQ(stage.heldPlain() + stage.heldCipher(), "");
        EXPECT_EQ(stage.log.lines,
                  (std::vector<LogLine>{{Severity::Error, L"DecryptMessage failed with: 2148074244 "
                                                          L"(text of 2148074244)"}}));
    }
}

TEST_F(RecordProtection, plaintextInTwoBuffersIsAppendedInOrder) {
    stage.holdPlain("old");
    stage.platform.DecryptMessage = [](CtxtHandle*, SecBufferDesc* message, ULONG, ULONG*) {
        SecBuffer* const buffers = message->pBuffers;
        char* const record = static_cast<char*>(buffers[0].pvBuffer);
        buffers[0] = {2, SECBUFFER_DATA, record + 1};
        buffers[1] = {3, SECBUFFER_DATA, record + 4};
        buffers[2] = {1, SECBUFFER_EXTRA, nullptr};
        buffers[3] = {0, SECBUFFER_DATA, nullptr};
        return SEC_E_OK;
    };
    stage.hold("-ab-cde-x");
    EXPECT_EQ(decrypt(1), SEC_E_OK);
    EXPECT_EQ(stage.heldPlain(), "oldabcde");
    EXPECT_EQ(stage.heldCipher(), "x");
}

TEST_F(RecordProtection, partlyConsumedPlaintextStaysWhereItIs) {
    stage.holdPlain("hello");
    const char* const before = record().plainBytes().data();
    char buffer[2];
    EXPECT_EQ(record().consumePlain(buffer, 2), 2U);
    EXPECT_EQ(std::string(buffer, 2), "he");
    EXPECT_EQ(stage.heldPlain(), "llo");
    EXPECT_EQ(record().plainBytes().data(), before + 2);
}

TEST_F(RecordProtection, whatMayHoldPlaintextIsWipedMemory) {
    EXPECT_TRUE((std::is_same_v<ReceivedBytes::Memory, WipedBytes>));
    EXPECT_TRUE((std::is_same_v<decltype(ShadowBuffer::bytes), WipedBytes>));
}

TEST_F(RecordProtection, shorterReadWipesWhatTheLastReadLeft) {
    const std::string longer = stage.cipher.seal(std::string(50, 'x'));
    const std::string shorter = stage.cipher.seal("y");
    stage.arrive(longer);
    stage.receive(50);
    stage.arrive(shorter);
    stage.receive(1);
    const std::span read = std::span(record().receiveBuffer).first(longer.size());
    EXPECT_THAT(read.subspan(shorter.size()), testing::Each('\0'));
}

// The next record finds the memory of the last one, which another buffer keeps alive.
TEST_F(RecordProtection, whatWorkBuffersHeldIsWiped) {
    const WorkBuffer other(1);
    stage.send(std::string(100, 'x'));
    stage.arriveSealed(std::string(100, 'y'));
    stage.receive(100);
    const char* const sending = record().sendBuffer.data();
    const char* const receiving = record().receiveBuffer.data();
    stage.makeConnected();
    EXPECT_EQ((std::set{sending, receiving}),
              (std::set<const char*>{record().sendBuffer.data(), record().receiveBuffer.data()}));
    EXPECT_THAT(record().sendBuffer, testing::Each('\0'));
    EXPECT_THAT(record().receiveBuffer, testing::Each('\0'));
}

TEST_F(RecordProtection, workBuffersStayWhereTheyAre) {
    const char* const sending = record().sendBuffer.data();
    const char* const receiving = record().receiveBuffer.data();
    for (int i = 0; i < 5; ++i) {
        stage.send(std::string(250, 'x'));
        stage.arriveSealed("data");
        stage.receive(4);
    }
    EXPECT_EQ(record().sendBuffer.data(), sending);
    EXPECT_EQ(record().receiveBuffer.data(), receiving);
}

} // namespace
} // namespace VexaSsl
