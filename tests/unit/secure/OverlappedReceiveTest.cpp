#include "unit/secure/OverlappedStage.h"

#include <stdexcept>

namespace VexaSsl {
namespace {

using test::LogLine;

constexpr SOCKET connection = test::SecureStage<>::connection;

void routine(DWORD, DWORD, WSAOVERLAPPED*, DWORD) {}

class OverlappedReceive : public test::OverlappedReceiver {};

TEST_F(OverlappedReceive, missingOverlappedArgumentsAreRefusedAndTheSocketForgotten) {
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
    EXPECT_EQ(received, 33U) << "ciphertext, if it completed at once";
}

TEST_F(OverlappedReceive, pendingReceiveShowsACountOfZero) {
    EXPECT_EQ(post({100}), SOCKET_ERROR);
    EXPECT_EQ(received, 0U);
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(OverlappedReceive, waitAllIsClearedInTheCallersVariableAndTheReceiveIsPosted) {
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
    stage.strategy.reset(); // the address sanitizer reports a leak
    EXPECT_EQ(stage.platformCalls("DeleteSecurityContext"), 1);
}

TEST_F(OverlappedReceive, exceptionOfThePostForgetsTheSocket) {
    stage.lower->onWSARecv = [](auto...) -> int { throw std::runtime_error("toy"); };
    EXPECT_EQ(post({100}), SOCKET_ERROR);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_EQ(onlyLine(), (LogLine{Severity::Error, L"Couldn't acquire a resource. toy"}));
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
}

} // namespace
} // namespace VexaSsl
