#include "secure/NegotiationTransport.h"

#include "fakes/GoodHandshake.h"
#include "fakes/NegotiationLines.h"
#include "secure/NegotiationBuffer.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <stdexcept>

namespace VexaSsl::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

struct NegotiationTransportTest : testing::Test {
    // The strategy takes at most so many bytes in each send; with 0 it takes none.
    void takeInPieces(std::vector<int> pieces) {
        good.strategy.onSend = [this, pieces, next = std::size_t{0}](
                                   SOCKET socket, const char* data, int length, int flags) mutable {
            EXPECT_EQ(socket, GoodHandshake::socket);
            EXPECT_EQ(flags, 0);
            offered.push_back(length);
            const int taken = std::min(length, pieces.at(next++));
            sent.append(data, static_cast<std::size_t>(taken));
            return taken;
        };
    }
    void arrive(const std::string& piece) {
        good.strategy.onRecv = [this, piece](SOCKET socket, char* target, int length, int flags) {
            EXPECT_EQ(socket, GoodHandshake::socket);
            EXPECT_EQ(flags, 0);
            asked.push_back(length);
            places.push_back(target);
            std::copy(piece.begin(), piece.end(), target);
            return static_cast<int>(piece.size());
        };
    }
    template <typename Operation>
    static std::string failureOf(Operation operation) {
        try {
            operation();
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "no exception";
    }
    std::string held() const { return {buffer.bytes.data(), buffer.have}; }

    GoodHandshake good;
    std::unique_ptr<SecureSocketRecord> record = good.makeRecord(false);
    NegotiationBuffer buffer;
    std::vector<int> offered;
    std::string sent;
    std::vector<int> asked;
    std::vector<char*> places;
};

TEST_F(NegotiationTransportTest, sendOfNothingIsOneLineAndNoSocketCall) {
    EXPECT_EQ(sendNegotiationData(*record, nullptr, 0), 0U);
    EXPECT_THAT(good.log.lines, ElementsAre(sending(0)));
    EXPECT_THAT(good.strategy.calls, IsEmpty());
}

TEST_F(NegotiationTransportTest, sendInPiecesSendsAllInOrderWithOneLine) {
    takeInPieces({2, 3, 100});
    EXPECT_EQ(sendNegotiationData(*record, "hello world", 11), 11U);
    EXPECT_EQ(sent, "hello world");
    EXPECT_THAT(offered, ElementsAre(11, 9, 6));
    EXPECT_THAT(good.log.lines, ElementsAre(sending(11)));
}

TEST_F(NegotiationTransportTest, sendThatTakesNothingIsRepeated) {
    takeInPieces({0, 0, 5});
    EXPECT_EQ(sendNegotiationData(*record, "hello", 5), 5U);
    EXPECT_THAT(offered, ElementsAre(5, 5, 5));
}

TEST_F(NegotiationTransportTest, failingSendIsAnErrorLineAndAnException) {
    good.strategy.onSend = [&](auto...) {
        good.platform.lastError = 10054;
        return -1;
    };
    EXPECT_EQ(failureOf([&] { sendNegotiationData(*record, "hello", 5); }), "can't send");
    EXPECT_THAT(good.log.lines,
                ElementsAre(sending(5),
                            LogLine{Severity::Error, L"::send (during negotiation) failed with: "
                                                     L"10054 (text of 10054)"}));
}

TEST_F(NegotiationTransportTest, wouldBlockIsAFailureLikeAnyOther) {
    good.strategy.onSend = [&](auto...) {
        good.platform.lastError = WSAEWOULDBLOCK;
        return SOCKET_ERROR;
    };
    EXPECT_EQ(failureOf([&] { sendNegotiationData(*record, "hello", 5); }), "can't send");
    EXPECT_THAT(good.strategy.calls, ElementsAre("send"));
}

TEST_F(NegotiationTransportTest, firstReceiveRequestsTheWholeCapacity) {
    arrive("hello");
    EXPECT_EQ(receiveNegotiationData(*record, buffer), 5U);
    EXPECT_THAT(asked, ElementsAre(10000));
    EXPECT_EQ(held(), "hello");
    EXPECT_THAT(good.log.lines, ElementsAre(received(5)));
}

TEST_F(NegotiationTransportTest, receiveWithAMissingCountAppendsWhatComes) {
    arrive("he");
    receiveNegotiationData(*record, buffer);
    buffer.expectMissing(3);
    arrive("l");
    EXPECT_EQ(receiveNegotiationData(*record, buffer), 1U);
    EXPECT_THAT(asked, ElementsAre(10000, 3));
    EXPECT_EQ(places[1], buffer.bytes.data() + 2);
    EXPECT_EQ(held(), "hel");
    EXPECT_FALSE(buffer.hasMissing);
    EXPECT_EQ(buffer.missing, 3U); // kept, and not read until it is set again
}

TEST_F(NegotiationTransportTest, tokenInSingleBytesIsOneReceiveEach) {
    arrive("h");
    receiveNegotiationData(*record, buffer);
    for (const char unit : std::string("ello")) {
        buffer.expectMissing(static_cast<DWORD>(5 - buffer.have));
        arrive(std::string(1, unit));
        EXPECT_EQ(receiveNegotiationData(*record, buffer), 1U);
    }
    EXPECT_EQ(held(), "hello");
    EXPECT_THAT(asked, ElementsAre(10000, 4, 3, 2, 1));
    EXPECT_THAT(good.log.lines, Each(received(1)));
}

TEST_F(NegotiationTransportTest, oneByteHeldWithoutAMissingCountRequestsNothing) {
    arrive("h");
    receiveNegotiationData(*record, buffer);
    arrive("");
    EXPECT_EQ(failureOf([&] { receiveNegotiationData(*record, buffer); }), "Connection closed");
    EXPECT_THAT(asked, ElementsAre(10000, 0));
    EXPECT_EQ(places[1], buffer.bytes.data() + 1);
    EXPECT_EQ(good.log.lines.back(), peerGone());
}

TEST_F(NegotiationTransportTest, peerThatClosesIsAWarningLineAndAnException) {
    arrive("");
    EXPECT_EQ(failureOf([&] { receiveNegotiationData(*record, buffer); }), "Connection closed");
    EXPECT_THAT(good.log.lines, ElementsAre(peerGone()));
    EXPECT_THAT(good.platform.calls, IsEmpty()); // no error number is read
}

TEST_F(NegotiationTransportTest, failingReceiveIsAnErrorLineAndAnException) {
    good.strategy.onRecv = [&](auto...) {
        good.platform.lastError = 10060;
        return -1;
    };
    EXPECT_EQ(failureOf([&] { receiveNegotiationData(*record, buffer); }), "can't recv");
    EXPECT_THAT(good.log.lines,
                ElementsAre(LogLine{Severity::Error, L"::recv (during negotiation) failed with: "
                                                     L"10060 (text of 10060)"}));
}

TEST_F(NegotiationTransportTest, receiveAfterAResetStartsAtTheFront) {
    arrive("hello");
    receiveNegotiationData(*record, buffer);
    buffer.reset();
    arrive("bye");
    receiveNegotiationData(*record, buffer);
    EXPECT_THAT(asked, ElementsAre(10000, 10000));
    EXPECT_EQ(held(), "bye");
}

} // namespace
} // namespace VexaSsl::test
