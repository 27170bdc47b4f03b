// What a host sees at an altered or truncated record, one fact per test: results, last error, log
// lines, and the bytes that are lost by the definition of the operations.
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

class AlteredRecord : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        ASSERT_TRUE(connection.established());
        good = connection.record(goodText);
        alteredRecord = connection.record("never to be seen");
        alteredRecord.back() ^= 1;
        next = connection.record("next");
        garbage = bytesOf("GET / HTTP/1.0\r\n\r\n");
    }

    std::vector<LogLine> lines() const { return connection.log.linesFrom(Severity::Warning); }

    TamperedConnection connection{ConnectionSetup{.asServer = GetParam()}};
    Bytes good;
    Bytes alteredRecord;
    Bytes next;
    Bytes garbage;
    const LogLine altered =
        failedCall(L"DecryptMessage", static_cast<DWORD>(packageBehaviour().altered));
    const LogLine ended =
        failedCall(L"DecryptMessage", SEC_I_CONTEXT_EXPIRED); // of the next record
    const LogLine tooFew =
        warning(L"::WSARecv completed asynchronously, but there were too few "
                L"bytes transferred [0] to decrypt even a single crypto message");
};

INSTANTIATE_TEST_SUITE_P(Roles, AlteredRecord, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& role) {
                             return role.param ? "server" : "client";
                         });

// The host sees the end of the stream; only the log has the failure.
TEST_P(AlteredRecord, recvOfAlteredRecordReturnsZeroAndLogs) {
    connection.deliver({alteredRecord});
    const ReceivedData received = receiveOnce(connection, 100);
    EXPECT_EQ(received.text, "");
    EXPECT_THAT(received.ends, ElementsAre(0));
    EXPECT_THAT(lines(), ElementsAre(altered));
}

// The good record from the same read is opened and held, but the failure that follows determines
// the result.
TEST_P(AlteredRecord, goodRecordBeforeAlteredOneIsHeldUntilTheNextRecv) {
    connection.deliver({good + alteredRecord});
    EXPECT_THAT(receiveOnce(connection, 100).ends, ElementsAre(0));
    EXPECT_EQ(receiveOnce(connection, 100).text, goodText);
    EXPECT_THAT(receiveOnce(connection, 100).ends, ElementsAre(0));
    EXPECT_THAT(lines(), ElementsAre(altered));
}

TEST_P(AlteredRecord, recvServedByGoodRecordLeavesTheAlteredOne) {
    connection.deliver({good + alteredRecord});
    EXPECT_EQ(receiveOnce(connection, goodText.size()).text, goodText);
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_THAT(receiveOnce(connection, goodText.size()).ends, ElementsAre(0));
    EXPECT_THAT(lines(), ElementsAre(altered));
}

// A read that continues after the failure ends at the next record, or logs each one.
TEST_P(AlteredRecord, readContinuesAfterAlteredRecordInVain) {
    connection.deliver({alteredRecord, next, next});
    const ReceivedData received = receiveOnce(connection, 100);
    EXPECT_EQ(received.text, "");
    EXPECT_THAT(received.ends, ElementsAre(0));
    if (packageBehaviour().endsStream) {
        EXPECT_THAT(lines(), ElementsAre(altered, ended));
    } else {
        EXPECT_THAT(lines(), ElementsAre(altered, altered, altered));
    }
}

TEST_P(AlteredRecord, alteredRecordLeavesNothingInTheBuffer) {
    connection.deliver({good, alteredRecord});
    const ReceivedData received = receiveOnce(connection, 1000, msgWaitAll);
    EXPECT_EQ(received.text, goodText);
    EXPECT_EQ(received.beyond, "");
}

TEST_P(AlteredRecord, peekOfAlteredRecordFailsLikeRecv) {
    connection.deliver({good + alteredRecord});
    EXPECT_EQ(receiveOnce(connection, goodText.size(), msgPeek).text, goodText);
    EXPECT_THAT(receiveOnce(connection, 100, msgPeek).ends, ElementsAre(0));
    EXPECT_EQ(receiveOnce(connection, goodText.size()).text, goodText);
    EXPECT_THAT(lines(), ElementsAre(altered));
}

// select decrypts the held record.
TEST_P(AlteredRecord, selectWithHeldAlteredRecordFails) {
    connection.deliver({good + alteredRecord});
    EXPECT_EQ(receiveOnce(connection, goodText.size()).text, goodText);
    fd_set set{};
    platform::socketSetAdd(connection.socket(), set);
    const timeval noTime{};
    EXPECT_EQ(connection.stack().select(0, &set, nullptr, nullptr, &noTime), SOCKET_ERROR);
    EXPECT_THAT(lines(), ElementsAre(altered));
}

TEST_P(AlteredRecord, completionReturnsTheStatusOfTheAlteredRecord) {
    connection.deliver({alteredRecord});
    const ReceivedData received = completeOnce(connection, {100});
    EXPECT_EQ(received.text, "");
    EXPECT_THAT(received.ends, ElementsAre(packageBehaviour().altered));
    EXPECT_THAT(lines(), ElementsAre(altered, tooFew));
}

TEST_P(AlteredRecord, goodRecordBeforeAlteredOneIsHeldUntilTheNextCompletion) {
    connection.deliver({good + alteredRecord});
    EXPECT_THAT(completeOnce(connection, {100}).ends, ElementsAre(packageBehaviour().altered));
    EXPECT_EQ(completeOnce(connection, {100}).text, goodText);
    EXPECT_THAT(lines(), ElementsAre(altered, tooFew));
}

// The first buffer is filled before the failure: its bytes are not counted, and a host that
// continues gets the stream with a gap.
TEST_P(AlteredRecord, failedCompletionLosesTheBytesOfEarlierBuffers) {
    connection.deliver({good + alteredRecord});
    const ReceivedData failed = completeOnce(connection, {3, 100});
    EXPECT_THAT(failed.ends, ElementsAre(packageBehaviour().altered));
    EXPECT_EQ(failed.beyond, goodText.substr(0, 3));
    EXPECT_EQ(completeOnce(connection, {3, 100}).text, goodText.substr(3));
}

TEST_P(AlteredRecord, sendAfterAlteredRecordFails) {
    connection.deliver({alteredRecord});
    receiveOnce(connection, 100);
    const std::size_t before = connection.wire.sentByStack();
    EXPECT_EQ(connection.send("an answer"), SOCKET_ERROR);
    EXPECT_EQ(connection.wire.sentByStack(), before);
    EXPECT_THAT(lines(),
                ElementsAre(altered, failedCall(L"EncryptMessage",
                                                static_cast<DWORD>(packageBehaviour().altered))));
}

// Bytes that aren't TLS are the only failure that is never logged.
TEST_P(AlteredRecord, recvOfNonTlsBytesLogsNothing) {
    VEXASSL_NEEDS_ABILITY(Ability::detectPlainText);
    connection.deliver({garbage, next});
    EXPECT_THAT(receiveOnce(connection, 100).ends, ElementsAre(0));
    if (packageBehaviour().endsStream) {
        EXPECT_THAT(lines(), ElementsAre(ended));
    } else {
        EXPECT_THAT(lines(), IsEmpty());
    }
}

TEST_P(AlteredRecord, completionReturnsTheStatusOfNonTlsBytes) {
    VEXASSL_NEEDS_ABILITY(Ability::detectPlainText);
    connection.deliver({garbage});
    EXPECT_THAT(completeOnce(connection, {100}).ends, ElementsAre(SEC_E_INVALID_TOKEN));
    EXPECT_THAT(lines(), ElementsAre(tooFew));
}

using CutRecord = AlteredRecord;
INSTANTIATE_TEST_SUITE_P(Roles, CutRecord, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& role) {
                             return role.param ? "server" : "client";
                         });

// An attacker's truncation is indistinguishable from the peer's own end of the connection.
TEST_P(CutRecord, truncatedStreamIsOrdinaryEndOfStream) {
    connection.deliver({part(good, 0, good.size() - 1)});
    EXPECT_THAT(receiveOnce(connection, 100).ends, ElementsAre(0));
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_P(CutRecord, resetFailsWithTheSystemsErrorAndLogsNothing) {
    VEXASSL_NEEDS_ABILITY(Ability::reportResets);
    connection.deliver({part(good, 0, good.size() - 1)}, Ending::reset);
    EXPECT_THAT(receiveOnce(connection, 100).ends, ElementsAre(SOCKET_ERROR));
    EXPECT_EQ(platform::WSAGetLastError(), WSAECONNRESET);
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_P(CutRecord, resetLosesTheBytesOfUnfinishedWaitAll) {
    VEXASSL_NEEDS_ABILITY(Ability::reportResets);
    connection.deliver({good}, Ending::reset);
    const ReceivedData received = receiveOnce(connection, 100, msgWaitAll);
    EXPECT_THAT(received.ends, ElementsAre(SOCKET_ERROR));
    EXPECT_EQ(received.beyond, goodText);
    EXPECT_EQ(platform::WSAGetLastError(), WSAECONNRESET);
    EXPECT_EQ(receiveOnce(connection, 100).text, "");
}

// The partial record received before the time-out is kept.
TEST_P(CutRecord, receiveContinuesAfterTimeOutInsideRecord) {
    limitReceiving(connection.socket(), shortTimeoutMilliseconds);
    connection.deliver({part(good, 0, 20)}, Ending::silence);
    EXPECT_THAT(receiveOnce(connection, 100).ends, ElementsAre(SOCKET_ERROR));
    EXPECT_EQ(platform::WSAGetLastError(), WSAETIMEDOUT);
    EXPECT_THAT(lines(), IsEmpty());
    connection.wire.sendNow(part(good, 20));
    EXPECT_EQ(receiveOnce(connection, 100).text, goodText);
}

// The peer resets the connection while a record is being sent.
TEST_P(CutRecord, resetAfterAnyByteSentFailsTheSend) {
    VEXASSL_NEEDS_ABILITY(Ability::reportResets);
    const std::size_t size = good.size();
    for (std::size_t k = 0; k < size; ++k) {
        TamperedConnection sending({.asServer = GetParam()});
        ASSERT_TRUE(sending.established());
        sending.wire.resetAfterSent = sending.wire.sentByStack() + k;
        ASSERT_EQ(sending.send(goodText), SOCKET_ERROR) << "after " << k;
        ASSERT_EQ(platform::WSAGetLastError(), WSAECONNRESET) << "after " << k;
        ASSERT_THAT(sending.log.linesFrom(Severity::Warning), IsEmpty()) << "after " << k;
    }
}

} // namespace
} // namespace VexaSsl::test
