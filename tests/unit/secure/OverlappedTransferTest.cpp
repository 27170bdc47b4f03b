#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

#include <cstring>

namespace VexaSsl {
namespace {

using test::LogLine;
using test::ToyCipher;

constexpr SOCKET connection = test::SecureStage<>::connection;
constexpr int untouched = 4711;

void routine(DWORD, DWORD, WSAOVERLAPPED*, DWORD) {}

class OverlappedTransfer : public testing::Test {
protected:
    OverlappedTransfer() {
        stage.makeConnected();
        stage.platform.lastError = untouched;
    }
    LogLine onlyLine() const {
        EXPECT_EQ(stage.log.lines.size(), 1U);
        return stage.log.lines.empty() ? LogLine{} : stage.log.lines.front();
    }

    test::SecureStage<> stage;
    WSAOVERLAPPED state;
};

// --- WSASend

class OverlappedSend : public OverlappedTransfer {
protected:
    int send(std::vector<std::string> pieces, DWORD flags = 0, WSAOVERLAPPED* overlapped = nullptr,
             LPWSAOVERLAPPED_COMPLETION_ROUTINE completion = nullptr) {
        std::vector<WSABUF> buffers;
        for (std::string& piece : pieces) {
            buffers.push_back({static_cast<ULONG>(piece.size()), piece.data()});
        }
        return stage.strategy->WSASend(connection, buffers.data(),
                                       static_cast<DWORD>(buffers.size()), &sent, flags, overlapped,
                                       completion);
    }

    DWORD sent = 4711;
};

TEST_F(OverlappedSend, withAnOverlappedStructureIsRefusedAndForgetsTheSocket) {
    EXPECT_EQ(send({"data"}, 0, &state), SOCKET_ERROR);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_EQ(stage.platform.lastError, WSAEINVAL);
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_EQ(sent, 4711U);
    EXPECT_EQ(
        onlyLine(),
        (LogLine{Severity::Error,
                 L"WSASend called in an asynchronous manner. This is not yet implemented. "}));
}

TEST_F(OverlappedSend, withACompletionRoutineIsRefused) {
    EXPECT_EQ(send({"data"}, 0, nullptr, routine), SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, WSAEINVAL);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
}

TEST_F(OverlappedSend, eachBufferMakesARecordOfItsOwnAndAnEmptyOneNone) {
    EXPECT_EQ(send({"one", "", "two"}), 0);
    EXPECT_EQ(sent, 6U);
    EXPECT_EQ(stage.cipher.encryptCalls, 2);
    EXPECT_EQ(stage.written, stage.cipher.seal("one") + stage.cipher.seal("two"));
}

TEST_F(OverlappedSend, nothingToSendIsASuccessOfZeroBytes) {
    EXPECT_EQ(stage.strategy->WSASend(connection, nullptr, 0, &sent, 0, nullptr, nullptr), 0);
    EXPECT_EQ(sent, 0U);
}

TEST_F(OverlappedSend, socketAndFlagsReachEachWrite) {
    stage.lower->onSend = [](SOCKET s, const char*, int len, int flags) {
        EXPECT_EQ(s, connection);
        EXPECT_EQ(flags, 4);
        return len;
    };
    EXPECT_EQ(send({"one", "two"}, 4), 0);
    EXPECT_EQ(stage.lowerCalls("send"), 2);
}

TEST_F(OverlappedSend, failedSendLeavesTheCountUnwritten) {
    stage.lower->onSend = [&](SOCKET, const char*, int len, int) {
        return stage.lowerCalls("send") == 1 ? len : SOCKET_ERROR;
    };
    EXPECT_EQ(send({"one", "two", "three"}), SOCKET_ERROR);
    EXPECT_EQ(sent, 4711U);
    EXPECT_EQ(stage.lowerCalls("send"), 2);
    EXPECT_EQ(stage.platform.lastError, untouched);
    EXPECT_EQ(stage.strategy->socket, connection);
}

class CountingStrategy : public SecureSocketStrategy {
public:
    using SecureSocketStrategy::SecureSocketStrategy;
    int send(SOCKET, const char*, int len, int) noexcept override {
        ++sends;
        return len;
    }
    int sends = 0;
};

TEST_F(OverlappedSend, sendOfADerivedClassIsCalledOncePerBuffer) {
    CountingStrategy strategy(stage.log, stage.config, std::make_unique<test::ScriptedStrategy>());
    char bytes[] = "ab";
    WSABUF buffers[] = {{1, bytes}, {0, bytes}, {1, bytes + 1}};
    EXPECT_EQ(strategy.WSASend(connection, buffers, 3, &sent, 0, nullptr, nullptr), 0);
    EXPECT_EQ(strategy.sends, 3);
    EXPECT_EQ(sent, 2U);
}

// --- ShadowBuffer

TEST(ShadowBuffer, isThreeTimesAsLargeAndAtLeast1024) {
    EXPECT_EQ(ShadowBuffer(100).bytes.size(), 1024U);
    EXPECT_EQ(ShadowBuffer(1000).bytes.size(), 3000U);
    EXPECT_EQ(ShadowBuffer(0).bytes.size(), 1024U);
    EXPECT_EQ(ShadowBuffer(341).bytes.size(), 1024U);
    EXPECT_EQ(ShadowBuffer(342).bytes.size(), 1026U);
}

TEST(ShadowBuffer, sizeWrapsRoundAt32Bits) {
    EXPECT_EQ(ShadowBuffer(0x55555556).bytes.size(), 1024U); // three times this is 2^32 + 2
    EXPECT_EQ(ShadowBuffer(0x55555955).bytes.size(), 3071U);
}

TEST(ShadowBuffer, viewDescribesTheBytesAlsoAfterAMove) {
    ShadowBuffer first(1000);
    ShadowBuffer second(std::move(first));
    EXPECT_EQ(second.view.buf, second.bytes.data());
    EXPECT_EQ(second.view.len, second.bytes.size());
}

TEST(ShadowBuffer, bytesAreZero) {
    const ShadowBuffer shadow(1000);
    EXPECT_EQ(std::count(shadow.bytes.begin(), shadow.bytes.end(), '\0'), 3000);
}

// --- WSARecv

class OverlappedReceive : public OverlappedTransfer {
protected:
    OverlappedReceive() {
        stage.lower->onWSARecv = [this](SOCKET, WSABUF* buffers, DWORD number, DWORD*, DWORD*,
                                        WSAOVERLAPPED*, LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
            posted.assign(buffers, buffers + number);
            stage.platform.lastError = WSA_IO_PENDING;
            return SOCKET_ERROR;
        };
    }

    // Posts one receive for buffers of these sizes.
    int post(std::initializer_list<std::size_t> sizes) {
        std::vector<WSABUF> buffers = hostBuffers(sizes);
        return stage.strategy->WSARecv(connection, buffers.data(),
                                       static_cast<DWORD>(buffers.size()), &received, &flags,
                                       &state, nullptr);
    }
    std::vector<WSABUF> hostBuffers(std::initializer_list<std::size_t> sizes) {
        memory.clear();
        for (const std::size_t size : sizes) {
            memory.emplace_back(size, '#');
        }
        std::vector<WSABUF> buffers;
        for (std::string& piece : memory) {
            buffers.push_back({static_cast<ULONG>(piece.size()), piece.data()});
        }
        return buffers;
    }

    // What the system does when bytes come: it fills the posted buffers in order.
    void fill(std::string_view wire) {
        for (const WSABUF& buffer : posted) {
            const std::size_t part = std::min<std::size_t>(buffer.len, wire.size());
            std::memcpy(buffer.buf, wire.data(), part);
            wire.remove_prefix(part);
        }
        ASSERT_TRUE(wire.empty());
    }
    int complete(DWORD transferred) {
        count = transferred;
        return stage.strategy->completeWSARecv(untouched, &count, this);
    }
    int fillAndComplete(std::string_view wire) {
        fill(wire);
        return complete(static_cast<DWORD>(wire.size()));
    }
    static LogLine tooFew() {
        return {Severity::Warning,
                L"::WSARecv completed asynchronously, but there were too few "
                L"bytes transferred [0] to decrypt even a single crypto message"};
    }

    std::vector<std::string> memory; // the host's
    std::vector<WSABUF> posted;      // what the system was given
    DWORD received = 4711;
    DWORD flags = 0;
    DWORD count = 0;
};

TEST_F(OverlappedReceive, withoutOverlappedArgumentsIsRefusedAndForgetsTheSocket) {
    EXPECT_EQ(stage.strategy->WSARecv(connection, nullptr, 0, &received, &flags, nullptr, nullptr),
              SOCKET_ERROR);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_EQ(stage.platform.lastError, WSAEINVAL);
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_TRUE(stage.strategy->pendingReceives.empty());
    EXPECT_EQ(onlyLine(),
              (LogLine{Severity::Error,
                       L"WSARecv called in a synchronous manner. This is not yet implemented. "}));
}

TEST_F(OverlappedReceive, completionRoutineAloneIsAccepted) {
    std::vector<WSABUF> buffers = hostBuffers({100});
    EXPECT_EQ(
        stage.strategy->WSARecv(connection, buffers.data(), 1, &received, &flags, nullptr, routine),
        SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, WSA_IO_PENDING);
    EXPECT_EQ(stage.strategy->pendingReceives.size(), 1U);
    EXPECT_EQ(stage.strategy->socket, connection);
}

TEST_F(OverlappedReceive, systemGetsShadowBuffersNeverTheHosts) {
    post({100, 1000, 0});
    ASSERT_EQ(posted.size(), 3U);
    EXPECT_EQ(posted[0].len, 1024U);
    EXPECT_EQ(posted[1].len, 3000U);
    EXPECT_EQ(posted[2].len, 1024U);
    const PendingReceive& entry = stage.strategy->pendingReceives.front();
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(posted[i].buf, entry.shadowBuffers[i].bytes.data());
        EXPECT_EQ(entry.callerBuffers[i].buf, memory[i].data());
        EXPECT_EQ(entry.callerBuffers[i].len, memory[i].size());
    }
}

TEST_F(OverlappedReceive, argumentsReachTheLowerReceive) {
    flags = 0x40;
    stage.lower->onWSARecv = [&](SOCKET s, WSABUF*, DWORD bufferCount, DWORD* bytes,
                                 DWORD* lowerFlags, WSAOVERLAPPED* overlapped,
                                 LPWSAOVERLAPPED_COMPLETION_ROUTINE completion) {
        EXPECT_EQ(s, connection);
        EXPECT_EQ(bufferCount, 1U);
        EXPECT_EQ(*bytes, 0U) << "a count of the strategy's own";
        EXPECT_NE(bytes, &received);
        EXPECT_EQ(lowerFlags, &flags);
        EXPECT_EQ(*lowerFlags, 0x40U);
        EXPECT_EQ(overlapped, &state);
        EXPECT_EQ(completion, nullptr);
        *bytes = 33;
        return 0;
    };
    EXPECT_EQ(post({100}), 0);
    EXPECT_EQ(received, 33U) << "ciphertext, when it completed at once";
}

TEST_F(OverlappedReceive, pendingReceiveShowsACountOfZero) {
    EXPECT_EQ(post({100}), SOCKET_ERROR);
    EXPECT_EQ(received, 0U);
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(OverlappedReceive, waitAllIsClearedInTheCallersVariableAndTheReceiveGoesAhead) {
    flags = msgWaitAll | msgPeek;
    post({100});
    EXPECT_EQ(flags, static_cast<DWORD>(msgPeek));
    EXPECT_EQ(stage.lowerCalls("WSARecv"), 1);
    EXPECT_EQ(onlyLine(), (LogLine{Severity::Debug, L"Stripping MSG_WAITALL from WSARecv"}));
}

TEST_F(OverlappedReceive, postGoesToTheSocketEvenWithPlaintextHeld) {
    stage.holdPlain("data");
    post({100});
    EXPECT_EQ(stage.lowerCalls("WSARecv"), 1);
    EXPECT_EQ(stage.heldPlain(), "data");
}

TEST_F(OverlappedReceive, failedPostLeavesAStaleEntry) {
    stage.lower->onWSARecv = [&](auto...) {
        stage.platform.lastError = WSAENOTCONN;
        return SOCKET_ERROR;
    };
    EXPECT_EQ(post({100}), SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, WSAENOTCONN);
    EXPECT_EQ(stage.strategy->pendingReceives.size(), 1U);
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(OverlappedReceive, destructionFreesEntriesStillQueued) {
    post({100});
    post({100});
    EXPECT_EQ(stage.strategy->pendingReceives.size(), 2U);
    stage.platform.calls.clear();
    stage.strategy.reset(); // that nothing leaks is the sanitizer's to judge
    EXPECT_EQ(stage.platformCalls("DeleteSecurityContext"), 1);
}

// --- completeWSARecv

class OverlappedCompletion : public OverlappedReceive {};

TEST_F(OverlappedCompletion, decryptsIntoTheHostsBuffer) {
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

// Ciphertext of exactly this size: whole records, then the start of one that never ends.
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
    EXPECT_EQ(memory[0], "data") << "filled, yet lost";
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
        stage.platform.lastError = untouched;
        stage.forget();
        const int status =
            kind == ToyCipher::Kind::Garbage ? SEC_E_INVALID_TOKEN : SEC_E_MESSAGE_ALTERED;
        EXPECT_EQ(fillAndComplete(stage.cipher.seal("", kind)), status);
        EXPECT_EQ(stage.platform.lastError, untouched);
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
        stage.platform.lastError = untouched;
        stage.log.onLine = [&](const std::wstring&) {
            EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
        };
        EXPECT_EQ(fillAndComplete(stage.cipher.seal("", kind)), SOCKET_ERROR);
        EXPECT_EQ(count, 0U);
    }
    EXPECT_EQ(
        stage.log.lines,
        (std::vector<LogLine>{
            {Severity::Error, L"Couldn't acquire a resource. toy"},
            {Severity::Error, L"A memory allocation failed. std::bad_alloc"},
            {Severity::Error, L"An unexpected C++ standard library exception occurred: odd"}}));
    EXPECT_EQ(stage.platform.lastError, untouched);
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
}

TEST_F(OverlappedReceive, exceptionOfThePostForgetsTheSocket) {
    stage.lower->onWSARecv = [](auto...) -> int { throw std::runtime_error("toy"); };
    EXPECT_EQ(post({100}), SOCKET_ERROR);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_EQ(onlyLine(), (LogLine{Severity::Error, L"Couldn't acquire a resource. toy"}));
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
}

class ThrowingLog : public test::CollectingLog {
public:
    void log(Severity severity, const std::wstring& text) override {
        if (armed && text.starts_with(L"WSASend")) {
            throw std::runtime_error("full");
        }
        CollectingLog::log(severity, text);
    }
    bool armed = true;
};

TEST_F(OverlappedSend, exceptionIsLoggedUnderTheOverlappedPrefix) {
    ThrowingLog log;
    SecureSocketStrategy strategy(log, stage.config, std::make_unique<test::ScriptedStrategy>());
    log.lines.clear();
    EXPECT_EQ(strategy.WSASend(connection, nullptr, 0, &sent, 0, &state, nullptr), SOCKET_ERROR);
    EXPECT_EQ(log.lines,
              (std::vector<LogLine>{{Severity::Error, L"Couldn't acquire a resource. full"}}));
    EXPECT_EQ(stage.platform.lastError, untouched);
}

} // namespace
} // namespace VexaSsl
