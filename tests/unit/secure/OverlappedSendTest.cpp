#include "unit/secure/OverlappedStage.h"

#include <stdexcept>

namespace VexaSsl {
namespace {

using test::LogLine;

constexpr SOCKET connection = test::SecureStage<>::connection;

void routine(DWORD, DWORD, WSAOVERLAPPED*, DWORD) {}

class OverlappedSend : public test::OverlappedTransfer {
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

TEST_F(OverlappedSend, overlappedStructureIsRefusedAndTheSocketForgotten) {
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

TEST_F(OverlappedSend, completionRoutineIsRefused) {
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
    EXPECT_EQ(stage.platform.lastError, test::unrelatedError);
    EXPECT_EQ(stage.strategy->socket, connection);
}

class CountingStrategy : public test::OpenSecureSocketStrategy {
public:
    using OpenSecureSocketStrategy::OpenSecureSocketStrategy;
    int send(SOCKET, const char*, int len, int) noexcept override {
        ++sends;
        return len;
    }
    int sends = 0;
};

TEST_F(OverlappedSend, sendOfADerivedClassIsCalledOncePerBuffer) {
    CountingStrategy strategy(stage.log, stage.config, std::make_unique<test::ScriptedStrategy>());
    strategy.record = std::move(stage.strategy->record);
    char bytes[] = "ab";
    WSABUF buffers[] = {{1, bytes}, {0, bytes}, {1, bytes + 1}};
    EXPECT_EQ(strategy.WSASend(connection, buffers, 3, &sent, 0, nullptr, nullptr), 0);
    EXPECT_EQ(strategy.sends, 3);
    EXPECT_EQ(sent, 2U);
}

TEST_F(OverlappedSend, exceptionIsLoggedUnderTheOverlappedPrefix) {
    stage.log.onLine = [](Severity, const std::wstring& text) {
        if (text.starts_with(L"WSASend")) {
            throw std::runtime_error("full");
        }
    };
    EXPECT_EQ(stage.strategy->WSASend(connection, nullptr, 0, &sent, 0, &state, nullptr),
              SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{{Severity::Error, L"Couldn't acquire a resource. full"}}));
    EXPECT_EQ(stage.platform.lastError, test::unrelatedError);
}

} // namespace
} // namespace VexaSsl
