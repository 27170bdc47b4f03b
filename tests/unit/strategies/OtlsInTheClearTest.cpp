#include "unit/strategies/OtlsStage.h"

namespace VexaSsl {
namespace {

using test::LogLine;
using Stage = test::OtlsStage;

constexpr SOCKET connection = Stage::connection;
constexpr SOCKET listener = Stage::listener;
constexpr int answer = 4711;

class OtlsInTheClear : public test::OtlsTest {};

TEST_F(OtlsInTheClear, sendInTheClearReachesTheStrategyBelowUnchanged) {
    const char data[] = "data";
    stage.lower->onSend = [&](SOCKET s, const char* buf, int len, int flags) {
        EXPECT_EQ(s, connection);
        EXPECT_EQ(buf, data);
        EXPECT_EQ(len, -3);
        EXPECT_EQ(flags, 5);
        return answer;
    };
    EXPECT_EQ(stage.strategy->send(connection, data, -3, 5), answer);
}

TEST_F(OtlsInTheClear, recvInTheClearReachesTheStrategyBelowUnchanged) {
    char data[4];
    stage.lower->onRecv = [&](SOCKET s, char* buf, int len, int flags) {
        EXPECT_EQ(s, connection);
        EXPECT_EQ(buf, data);
        EXPECT_EQ(len, 4);
        EXPECT_EQ(flags, msgPeek | msgWaitAll);
        return answer;
    };
    EXPECT_EQ(stage.strategy->recv(connection, data, 4, msgPeek | msgWaitAll), answer);
}

TEST_F(OtlsInTheClear, overlappedOperationsInTheClearReachTheStrategyBelow) {
    stage.lower->onWSASend = [](auto...) { return answer; };
    stage.lower->onWSARecv = [](auto...) { return answer + 1; };
    stage.lower->onCompleteWSARecv = [](int status, DWORD* count, void* context) {
        EXPECT_EQ(status, 5);
        EXPECT_EQ(*count, 6U);
        EXPECT_EQ(context, count);
        return answer + 2;
    };
    WSAOVERLAPPED state{};
    DWORD count = 6;
    EXPECT_EQ(stage.strategy->WSASend(connection, nullptr, 0, &count, 0, &state, nullptr), answer);
    EXPECT_EQ(stage.strategy->WSARecv(connection, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
              answer + 1);
    EXPECT_EQ(stage.strategy->completeWSARecv(5, &count, &count), answer + 2);
    EXPECT_TRUE(stage.strategy->pendingReceives.empty());
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(OtlsInTheClear, connectRunsNoHandshakeAndNeedsNoName) {
    EXPECT_EQ(stage.strategy->connect(connection, nullptr, 0), 0);
    EXPECT_EQ(stage.strategy->socket, connection);
    EXPECT_EQ(stage.strategy->record, nullptr);
    EXPECT_TRUE(stage.platform.calls.empty());
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(OtlsInTheClear, connectMakesAClient) {
    acceptOne();
    stage.strategy->connect(connection, nullptr, 0);
    EXPECT_FALSE(startsAsServer());
}

TEST_F(OtlsInTheClear, failedConnectStoresNothing) {
    acceptOne();
    stage.lower->onConnect = [](auto...) { return SOCKET_ERROR; };
    EXPECT_EQ(stage.strategy->connect(99, nullptr, 0), SOCKET_ERROR);
    EXPECT_EQ(stage.strategy->socket, connection);
    EXPECT_TRUE(startsAsServer());
}

TEST_F(OtlsInTheClear, wsaConnectWorksAndMakesAClient) {
    acceptOne();
    stage.lower->onWSAConnect = [](auto...) { return 0; };
    EXPECT_EQ(stage.strategy->WSAConnect(9, nullptr, 0, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(stage.strategy->socket, SOCKET{9});
    stage.lower->onWSAConnect = [](auto...) { return SOCKET_ERROR; };
    EXPECT_EQ(stage.strategy->WSAConnect(10, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
              SOCKET_ERROR);
    EXPECT_EQ(stage.strategy->socket, SOCKET{9});
    EXPECT_FALSE(startsAsServer());
}

TEST_F(OtlsInTheClear, acceptMakesAServer) {
    acceptOne();
    EXPECT_EQ(stage.strategy->socket, connection);
    EXPECT_TRUE(stage.platform.calls.empty()) << "no handshake";
    EXPECT_TRUE(startsAsServer());
}

TEST_F(OtlsInTheClear, failedAcceptOverwritesTheSocketAndKeepsTheRole) {
    acceptOne();
    stage.lower->onAccept = [](auto...) { return INVALID_SOCKET; };
    EXPECT_EQ(stage.strategy->accept(listener, nullptr, nullptr), INVALID_SOCKET);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_TRUE(startsAsServer());
}

TEST_F(OtlsInTheClear, failedAcceptAfterAConnectLeavesAClient) {
    stage.strategy->connect(connection, nullptr, 0);
    stage.lower->onAccept = [](auto...) { return INVALID_SOCKET; };
    stage.strategy->accept(listener, nullptr, nullptr);
    EXPECT_FALSE(startsAsServer());
}

TEST_F(OtlsInTheClear, wsaAcceptWorksAndMakesAServer) {
    stage.lower->onWSAAccept = [](auto...) { return connection; };
    EXPECT_EQ(stage.strategy->WSAAccept(listener, nullptr, nullptr, nullptr, 0), connection);
    EXPECT_EQ(stage.strategy->socket, connection);
    EXPECT_TRUE(startsAsServer());
}

TEST_F(OtlsInTheClear, failedWsaAcceptOverwritesTheSocket) {
    stage.strategy->connect(connection, nullptr, 0);
    stage.lower->onWSAAccept = [](auto...) { return INVALID_SOCKET; };
    stage.strategy->WSAAccept(listener, nullptr, nullptr, nullptr, 0);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_FALSE(startsAsServer());
}

TEST_F(OtlsInTheClear, acceptExThatCompletesAtOnceMakesAServer) {
    stage.lower->onAcceptEx = [](SOCKET, SOCKET, void*, DWORD initial, DWORD, DWORD, DWORD*,
                                 OVERLAPPED*) {
        EXPECT_EQ(initial, 100U) << "an initial read isn't refused here";
        return TRUE;
    };
    EXPECT_EQ(stage.strategy->AcceptEx(listener, connection, nullptr, 100, 0, 0, nullptr, nullptr),
              TRUE);
    EXPECT_EQ(stage.strategy->socket, connection);
    EXPECT_TRUE(startsAsServer());
}

TEST_F(OtlsInTheClear, neitherPendingAcceptExNorItsCompletionStoresAnything) {
    stage.strategy->connect(9, nullptr, 0);
    stage.lower->onAcceptEx = [](auto...) { return FALSE; };
    stage.lower->onCompleteAcceptEx = [] { return answer; };
    EXPECT_EQ(stage.strategy->AcceptEx(listener, connection, nullptr, 0, 0, 0, nullptr, nullptr),
              FALSE);
    EXPECT_EQ(stage.strategy->completeAcceptEx(), answer);
    EXPECT_EQ(stage.strategy->socket, SOCKET{9});
    EXPECT_FALSE(startsAsServer());
}

TEST_F(OtlsInTheClear, acceptExResultOtherThanTrueStoresNothing) {
    stage.lower->onAcceptEx = [](auto...) { return 2; };
    stage.strategy->AcceptEx(listener, connection, nullptr, 0, 0, 0, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
}

TEST_F(OtlsInTheClear, completeAcceptExRunsNoHandshakeInAnyState) {
    stage.lower->onCompleteAcceptEx = [] { return answer; };
    EXPECT_EQ(stage.strategy->completeAcceptEx(), answer);
    startEncrypted();
    EXPECT_EQ(stage.strategy->completeAcceptEx(), answer);
    EXPECT_TRUE(stage.platform.calls.empty());
}

TEST_F(OtlsInTheClear, selectWithoutAReadSetPassesThroughInTheClear) {
    connectPlain();
    stage.lower->onSelect = [](auto...) { return answer; };
    EXPECT_EQ(stage.strategy->select(0, nullptr, nullptr, nullptr, nullptr), answer);
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(OtlsInTheClear, selectForTheSocketIsRefusedInTheClear) {
    stage.strategy->connect(connection, nullptr, 0);
    stage.forget();
    fd_set set{};
    set.fd_count = 1;
    set.fd_array[0] = connection;
    EXPECT_EQ(stage.strategy->select(0, &set, nullptr, nullptr, nullptr), SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, WSAENOTCONN);
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{
                  {Severity::Error, L"select called before the connection was secured"}}));
    EXPECT_TRUE(stage.lower->calls.empty());
}

TEST_F(OtlsInTheClear, selectForOtherSocketsWarnsAndPassesThroughInTheClear) {
    connectPlain();
    stage.lower->onSelect = [](auto...) { return answer; };
    fd_set set{};
    set.fd_count = 1;
    set.fd_array[0] = 9;
    EXPECT_EQ(stage.strategy->select(0, &set, nullptr, nullptr, nullptr), answer);
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{{Severity::Warning,
                                     L"::select() is not being called for the socket [7] "
                                     L"associated with this security context"}}));
}

} // namespace
} // namespace VexaSsl
