#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

namespace VexaSsl {
namespace {

using test::LogLine;

constexpr SOCKET connection = test::SecureStage<>::connection;
constexpr SOCKET listener = test::SecureStage<>::listener;
constexpr int untouched = 4711;

class SecureSetup : public testing::Test {
protected:
    SecureSetup() { stage.make(); }

    test::SecureStage<> stage;
};

class SecureAccept : public SecureSetup {
protected:
    SecureAccept() {
        stage.lower->onAccept = [](SOCKET, sockaddr*, int*) { return connection; };
        stage.platform.GetNameInfoW = [](const sockaddr*, int, wchar_t* node, DWORD, wchar_t*,
                                         DWORD, int) {
            node[0] = L'p';
            node[1] = 0;
            return 0;
        };
        stage.arrive("client hello");
    }
};

TEST_F(SecureAccept, acceptedSocketIsSecuredAsServer) {
    sockaddr address{};
    int length = 16;
    stage.lower->onAccept = [&](SOCKET s, sockaddr* a, int* l) {
        EXPECT_EQ(s, listener);
        EXPECT_EQ(a, &address);
        EXPECT_EQ(l, &length);
        return connection;
    };
    EXPECT_EQ(stage.strategy->accept(listener, &address, &length), connection);
    EXPECT_EQ(stage.strategy->socket, connection);
    ASSERT_NE(stage.strategy->record, nullptr);
    EXPECT_TRUE(stage.strategy->record->isServer);
    EXPECT_EQ(stage.strategy->record->targetName, L"p");
}

TEST_F(SecureAccept, missingAddressLeavesThePeersNameEmpty) {
    EXPECT_EQ(stage.strategy->accept(listener, nullptr, nullptr), connection);
    ASSERT_NE(stage.strategy->record, nullptr);
    EXPECT_EQ(stage.strategy->record->targetName, L"");
    EXPECT_EQ(stage.platformCalls("GetNameInfoW"), 0);
}

TEST_F(SecureAccept, failedReverseLookupLeavesTheNameEmpty) {
    stage.platform.GetNameInfoW = [](auto...) { return -1; };
    sockaddr address{};
    int length = 16;
    EXPECT_EQ(stage.strategy->accept(listener, &address, &length), connection);
    ASSERT_NE(stage.strategy->record, nullptr);
    EXPECT_EQ(stage.strategy->record->targetName, L"");
}

TEST_F(SecureAccept, failedLowerAcceptIsRememberedAsNoSocket) {
    stage.strategy->accept(listener, nullptr, nullptr);
    SecureSocketRecord* const record = stage.strategy->record.get();
    stage.forget();
    stage.lower->onAccept = [](auto...) { return INVALID_SOCKET; };
    EXPECT_EQ(stage.strategy->accept(listener, nullptr, nullptr), INVALID_SOCKET);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_EQ(stage.strategy->record.get(), record);
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
}

TEST_F(SecureAccept, secondAcceptReplacesTheRecord) {
    stage.strategy->accept(listener, nullptr, nullptr);
    stage.arrive("client hello");
    stage.strategy->accept(listener, nullptr, nullptr);
    EXPECT_EQ(stage.deleted, (std::vector<ULONG_PTR>{1}));
}

class SecureAcceptEx : public SecureSetup {
protected:
    BOOL acceptEx(DWORD receiveDataLength) {
        return stage.strategy->AcceptEx(listener, connection, buffer, receiveDataLength, 32, 33,
                                        &received, &overlapped);
    }

    char buffer[128];
    DWORD received = 0;
    OVERLAPPED overlapped{};
};

TEST_F(SecureAcceptEx, callWithoutAnInitialReadPassesThrough) {
    stage.lower->onAcceptEx = [&](SOCKET l, SOCKET a, void* output, DWORD initial, DWORD local,
                                  DWORD remote, DWORD* bytes, OVERLAPPED* state) {
        EXPECT_EQ(l, listener);
        EXPECT_EQ(a, connection);
        EXPECT_EQ(output, buffer);
        EXPECT_EQ(initial, 0U);
        EXPECT_EQ(local, 32U);
        EXPECT_EQ(remote, 33U);
        EXPECT_EQ(bytes, &received);
        EXPECT_EQ(state, &overlapped);
        EXPECT_EQ(stage.strategy->socket, connection);
        stage.platform.lastError = WSA_IO_PENDING;
        return FALSE;
    };
    EXPECT_EQ(acceptEx(0), FALSE);
    EXPECT_EQ(stage.platform.lastError, WSA_IO_PENDING);
    stage.lower->onAcceptEx = [](auto...) { return TRUE; };
    EXPECT_EQ(acceptEx(0), TRUE);
}

TEST_F(SecureAcceptEx, initialReadIsRefusedButTheSocketIsStored) {
    EXPECT_EQ(acceptEx(1), FALSE);
    EXPECT_EQ(stage.platform.lastError, WSAEINVAL);
    EXPECT_EQ(stage.strategy->socket, connection);
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{
                  {Severity::Error,
                   L"AcceptEx cannot be secured if it is asked to do the initial read"}}));
    stage.arrive("client hello");
    EXPECT_EQ(stage.strategy->completeAcceptEx(), 0);
    EXPECT_NE(stage.strategy->record, nullptr);
}

TEST_F(SecureAcceptEx, completionRunsTheServersHandshakeWithoutAName) {
    stage.lower->onAcceptEx = [](auto...) { return FALSE; };
    acceptEx(0);
    stage.arrive("client hello");
    EXPECT_EQ(stage.strategy->completeAcceptEx(), 0);
    ASSERT_NE(stage.strategy->record, nullptr);
    EXPECT_TRUE(stage.strategy->record->isServer);
    EXPECT_EQ(stage.strategy->record->targetName, L"");
    EXPECT_EQ(stage.strategy->record->socket, connection);
    EXPECT_EQ(stage.lowerCalls("completeAcceptEx"), 0);
}

TEST_F(SecureAcceptEx, completionOnAFreshStrategyFailsWithoutALine) {
    EXPECT_EQ(stage.strategy->completeAcceptEx(), SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, WSAECONNABORTED);
    EXPECT_TRUE(stage.log.lines.empty());
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
}

TEST_F(SecureSetup, wsaAcceptIsRefusedAndLeavesTheLastError) {
    stage.platform.lastError = untouched;
    EXPECT_EQ(stage.strategy->WSAAccept(listener, nullptr, nullptr, nullptr, 0), INVALID_SOCKET);
    EXPECT_EQ(stage.platform.lastError, untouched);
    EXPECT_TRUE(stage.platform.calls.empty());
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(SecureSetup, wsaConnectIsRefusedAndLeavesTheLastError) {
    stage.platform.lastError = untouched;
    EXPECT_EQ(
        stage.strategy->WSAConnect(connection, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
        SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, untouched);
    EXPECT_TRUE(stage.platform.calls.empty());
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_TRUE(stage.log.lines.empty());
}

} // namespace
} // namespace VexaSsl
