#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

namespace VexaSsl {
namespace {

using test::LogLine;
using test::ToyCipher;

constexpr SOCKET connection = test::SecureStage<>::connection;
constexpr int untouched = 4711;

fd_set setOf(std::initializer_list<SOCKET> sockets) {
    fd_set set{};
    for (const SOCKET s : sockets) {
        set.fd_array[set.fd_count++] = s;
    }
    return set;
}

std::vector<SOCKET> shown(const fd_set& set) {
    return {set.fd_array, set.fd_array + set.fd_count};
}

class SecureSelect : public testing::Test {
protected:
    SecureSelect() {
        stage.makeConnected();
        stage.lower->onSelect = [this](int nfds, fd_set* r, fd_set* w, fd_set* e,
                                       const timeval* t) {
            EXPECT_EQ(nfds, 5);
            EXPECT_EQ(t, &hour);
            given = r;
            seen = r == nullptr ? std::vector<SOCKET>{} : shown(*r);
            EXPECT_EQ(w, writable);
            EXPECT_EQ(e, exceptional);
            return lowerResult;
        };
        stage.platform.lastError = untouched;
    }
    int select(fd_set* readable) {
        return stage.strategy->select(5, readable, writable, exceptional, &hour);
    }

    test::SecureStage<> stage;
    timeval hour{3600, 0};
    fd_set* writable = nullptr;
    fd_set* exceptional = nullptr;
    const fd_set* given = nullptr; // the read set that the lower select saw
    std::vector<SOCKET> seen;      // and its content
    int lowerResult = 0;
};

TEST_F(SecureSelect, missingReadSetPassesThroughSilently) {
    stage.holdPlain("data");
    fd_set set = setOf({9});
    writable = &set;
    lowerResult = 1;
    EXPECT_EQ(select(nullptr), 1);
    EXPECT_EQ(stage.lowerCalls("select"), 1);
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(SecureSelect, readSetWithoutTheSocketPassesThroughAfterAWarning) {
    stage.holdPlain("data");
    fd_set set = setOf({9});
    lowerResult = 1;
    EXPECT_EQ(select(&set), 1);
    EXPECT_EQ(seen, (std::vector<SOCKET>{9}));
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{{Severity::Warning,
                                     L"::select() is not being called for the socket [7] "
                                     L"associated with this security context"}}));
}

TEST_F(SecureSelect, socketIsLoggedAsAnUnsignedNumber) {
    stage.strategy->socket = INVALID_SOCKET;
    fd_set set = setOf({9});
    select(&set);
    ASSERT_EQ(stage.log.lines.size(), 1U);
    EXPECT_EQ(stage.log.lines[0].text,
              L"::select() is not being called for the socket [18446744073709551615] associated "
              L"with this security context");
}

TEST_F(SecureSelect, plaintextInHandIsReadyAtOnce) {
    stage.holdPlain("data");
    fd_set set = setOf({connection});
    EXPECT_EQ(select(&set), 1);
    EXPECT_EQ(stage.lowerCalls("select"), 0);
    EXPECT_EQ(stage.platform.lastError, 0);
    EXPECT_EQ(shown(set), (std::vector<SOCKET>{connection}));
}

TEST_F(SecureSelect, recordInHandIsDecryptedToFindOut) {
    stage.hold(stage.cipher.seal("data"));
    fd_set set = setOf({connection});
    EXPECT_EQ(select(&set), 1);
    EXPECT_EQ(stage.heldPlain(), "data");
    EXPECT_EQ(stage.lowerCalls("select"), 0);
}

TEST_F(SecureSelect, closureAfterHeldDataIsNotDecrypted) {
    const std::string closure = stage.cipher.seal("", ToyCipher::Kind::Closure);
    stage.hold(stage.cipher.seal("data") + closure);
    fd_set set = setOf({connection});
    EXPECT_EQ(select(&set), 1);
    EXPECT_EQ(stage.heldCipher(), closure);
}

TEST_F(SecureSelect, heldPlaintextIsNotAddedTo) {
    stage.holdPlain("data");
    stage.hold(stage.cipher.seal("more"));
    fd_set set = setOf({connection});
    select(&set);
    EXPECT_EQ(stage.cipher.decryptCalls, 0);
}

TEST_F(SecureSelect, otherSocketIsCheckedAndNotReady) {
    stage.holdPlain("data");
    fd_set set = setOf({connection, 9});
    stage.lower->onSelect = [&](int, fd_set* r, fd_set*, fd_set*, const timeval* t) {
        seen = shown(*r);
        EXPECT_EQ(t, &hour) << "the caller's time-out, unchanged";
        r->fd_count = 0;
        return 0;
    };
    EXPECT_EQ(select(&set), 1);
    EXPECT_EQ(seen, (std::vector<SOCKET>{9}));
    EXPECT_EQ(stage.platform.lastError, 0);
    EXPECT_EQ(set.fd_count, 0U) << "counted, not shown";
}

TEST_F(SecureSelect, otherSocketIsCheckedAndReady) {
    stage.holdPlain("data");
    fd_set set = setOf({9, connection, 11});
    lowerResult = 2;
    EXPECT_EQ(select(&set), 3);
    EXPECT_EQ(seen, (std::vector<SOCKET>{9, 11}));
    EXPECT_EQ(shown(set), (std::vector<SOCKET>{9, 11}));
    EXPECT_EQ(stage.platform.lastError, untouched);
}

TEST_F(SecureSelect, onlyTheFirstOccurrenceOfTheSocketIsRemoved) {
    stage.holdPlain("data");
    fd_set set = setOf({9, connection, 11, connection});
    select(&set);
    EXPECT_EQ(seen, (std::vector<SOCKET>{9, 11, connection}));
}

TEST_F(SecureSelect, writeSetMakesTheLowerSelectSeeAnEmptyReadSet) {
    stage.holdPlain("data");
    fd_set set = setOf({connection});
    fd_set writing = setOf({connection});
    writable = &writing;
    lowerResult = 1;
    EXPECT_EQ(select(&set), 2);
    EXPECT_EQ(given, &set);
    EXPECT_TRUE(seen.empty());
    EXPECT_EQ(stage.lowerCalls("select"), 1);
}

TEST_F(SecureSelect, exceptionSetGoesToTheLowerSelectToo) {
    stage.holdPlain("data");
    fd_set set = setOf({connection});
    fd_set excepting = setOf({connection});
    exceptional = &excepting;
    EXPECT_EQ(select(&set), 1);
    EXPECT_EQ(stage.lowerCalls("select"), 1);
}

TEST_F(SecureSelect, failedLowerSelectIsTheResultEvenWithPlaintext) {
    stage.holdPlain("data");
    fd_set set = setOf({connection, 9});
    lowerResult = SOCKET_ERROR;
    EXPECT_EQ(select(&set), SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, untouched);
    EXPECT_EQ(shown(set), (std::vector<SOCKET>{9}));
}

TEST_F(SecureSelect, halfRecordLeavesTheDecisionToTheLowerSelect) {
    stage.hold(stage.cipher.seal("data").substr(0, 9));
    fd_set set = setOf({connection});
    lowerResult = 0;
    EXPECT_EQ(select(&set), 0);
    EXPECT_EQ(select(&set), 0);
    EXPECT_EQ(stage.cipher.decryptCalls, 1) << "no new attempt without new bytes";
    EXPECT_EQ(seen, (std::vector<SOCKET>{connection}));
    lowerResult = 1;
    EXPECT_EQ(select(&set), 1);
}

TEST_F(SecureSelect, nothingHeldPassesThroughWithTheSetsAsTheyWere) {
    fd_set set = setOf({9, connection});
    lowerResult = 2;
    EXPECT_EQ(select(&set), 2);
    EXPECT_EQ(seen, (std::vector<SOCKET>{9, connection}));
    EXPECT_EQ(stage.platform.lastError, untouched);
}

TEST_F(SecureSelect, spoiledCiphertextFailsWithoutACodeOrABreak) {
    for (const auto kind : {ToyCipher::Kind::Closure, ToyCipher::Kind::Renegotiation,
                            ToyCipher::Kind::Garbage, ToyCipher::Kind::Altered}) {
        stage.hold(stage.cipher.seal("", kind));
        fd_set set = setOf({connection});
        EXPECT_EQ(select(&set), SOCKET_ERROR);
        EXPECT_EQ(stage.platform.lastError, untouched);
        EXPECT_EQ(stage.platformCalls("DebugBreak"), 0);
        EXPECT_EQ(stage.lowerCalls("select"), 0);
    }
}

TEST_F(SecureSelect, exceptionsAreLoggedUnderTheirPrefixes) {
    for (const auto kind :
         {ToyCipher::Kind::Failing, ToyCipher::Kind::Exhausting, ToyCipher::Kind::Odd}) {
        stage.hold(stage.cipher.seal("", kind));
        fd_set set = setOf({connection});
        EXPECT_EQ(select(&set), SOCKET_ERROR);
    }
    EXPECT_EQ(
        stage.log.lines,
        (std::vector<LogLine>{
            {Severity::Error, L"Can't call select: toy"},
            test::outOfMemoryLine(),
            {Severity::Error, L"An unexpected C++ standard library exception occurred: odd"}}));
    EXPECT_EQ(stage.platform.lastError, untouched);
    EXPECT_EQ(stage.strategy->socket, connection);
}

} // namespace
} // namespace VexaSsl
