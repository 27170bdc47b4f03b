// Connecting operations on an encrypted connection: they store socket and role for a later start,
// and the encryption continues.
#include "unit/strategies/OtlsStage.h"

namespace VexaSsl {
namespace {

using Stage = test::OtlsStage;

constexpr SOCKET connection = Stage::connection;
constexpr SOCKET listener = Stage::listener;
constexpr SOCKET other = 9;

class OtlsReconnect : public test::OtlsTest {
protected:
    OtlsReconnect() {
        startEncrypted();
        before = stage.strategy->record.get();
    }

    // The record of the first connection still encrypts what is sent.
    void expectStillEncrypted() {
        EXPECT_EQ(stage.strategy->record.get(), before);
        EXPECT_EQ(stage.strategy->record->socket, connection);
        std::erase(stage.platform.calls, "WSAGetLastError"); // why an accept failed
        EXPECT_TRUE(stage.platform.calls.empty()) << "no handshake";
        stage.written.clear();
        EXPECT_EQ(stage.send("data"), 4);
        EXPECT_EQ(stage.cipher.open(stage.written), "data");
        EXPECT_EQ(stage.strategy->startOtls(), 0) << "it is on already";
        EXPECT_EQ(stage.strategy->record.get(), before);
    }
    // Returns to the clear and starts again, which shows the role.
    bool restartsAsServer() {
        stage.strategy->stopOtls();
        stage.forget();
        return startsAsServer();
    }

    SecureSocketRecord* before = nullptr;
};

TEST_F(OtlsReconnect, acceptMakesAServerAndLeavesTheRecord) {
    stage.lower->onAccept = [](auto...) { return other; };
    EXPECT_EQ(stage.strategy->accept(listener, nullptr, nullptr), other);
    EXPECT_EQ(stage.strategy->socket, other);
    expectStillEncrypted();
    EXPECT_TRUE(restartsAsServer());
    EXPECT_EQ(stage.strategy->record->socket, other);
}

TEST_F(OtlsReconnect, failedAcceptOverwritesTheSocketAndLeavesRoleAndRecord) {
    stage.lower->onAccept = [](auto...) { return INVALID_SOCKET; };
    EXPECT_EQ(stage.strategy->accept(listener, nullptr, nullptr), INVALID_SOCKET);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    expectStillEncrypted();
    EXPECT_FALSE(restartsAsServer());
}

TEST_F(OtlsReconnect, wsaAcceptMakesAServerAndLeavesTheRecord) {
    stage.lower->onWSAAccept = [](auto...) { return other; };
    EXPECT_EQ(stage.strategy->WSAAccept(listener, nullptr, nullptr, nullptr, 0), other);
    EXPECT_EQ(stage.strategy->socket, other);
    expectStillEncrypted();
    EXPECT_TRUE(restartsAsServer());
}

TEST_F(OtlsReconnect, failedWsaAcceptOverwritesTheSocketAndLeavesRoleAndRecord) {
    stage.lower->onWSAAccept = [](auto...) { return INVALID_SOCKET; };
    stage.strategy->WSAAccept(listener, nullptr, nullptr, nullptr, 0);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    expectStillEncrypted();
    EXPECT_FALSE(restartsAsServer());
}

TEST_F(OtlsReconnect, acceptExThatCompletesAtOnceMakesAServerAndLeavesTheRecord) {
    stage.lower->onAcceptEx = [](auto...) { return TRUE; };
    EXPECT_EQ(stage.strategy->AcceptEx(listener, other, nullptr, 0, 0, 0, nullptr, nullptr), TRUE);
    EXPECT_EQ(stage.strategy->socket, other);
    expectStillEncrypted();
    EXPECT_TRUE(restartsAsServer());
}

TEST_F(OtlsReconnect, pendingAcceptExStoresNothing) {
    stage.lower->onAcceptEx = [](auto...) { return FALSE; };
    EXPECT_EQ(stage.strategy->AcceptEx(listener, other, nullptr, 0, 0, 0, nullptr, nullptr), FALSE);
    EXPECT_EQ(stage.strategy->socket, connection);
    expectStillEncrypted();
    EXPECT_FALSE(restartsAsServer());
}

TEST_F(OtlsReconnect, wsaConnectStoresTheSocketAndKeepsTheRecord) {
    stage.lower->onWSAConnect = [](auto...) { return 0; };
    EXPECT_EQ(stage.strategy->WSAConnect(other, nullptr, 0, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(stage.strategy->socket, other);
    expectStillEncrypted();
    EXPECT_FALSE(restartsAsServer());
}

TEST_F(OtlsReconnect, failedWsaConnectStoresNothing) {
    stage.lower->onWSAConnect = [](auto...) { return SOCKET_ERROR; };
    EXPECT_EQ(stage.strategy->WSAConnect(other, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
              SOCKET_ERROR);
    EXPECT_EQ(stage.strategy->socket, connection);
    expectStillEncrypted();
}

class OtlsReconnectOfAServer : public test::OtlsTest {
protected:
    OtlsReconnectOfAServer() {
        acceptOne();
        EXPECT_TRUE(startsAsServer());
        before = stage.strategy->record.get();
    }
    bool restartsAsServer() {
        stage.strategy->stopOtls();
        stage.forget();
        return startsAsServer();
    }

    SecureSocketRecord* before = nullptr;
};

TEST_F(OtlsReconnectOfAServer, wsaConnectMakesAClientAndLeavesTheRecord) {
    stage.lower->onWSAConnect = [](auto...) { return 0; };
    stage.strategy->WSAConnect(other, nullptr, 0, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->record.get(), before);
    EXPECT_FALSE(restartsAsServer());
}

TEST_F(OtlsReconnectOfAServer, connectMakesAClientAndLeavesTheRecord) {
    stage.strategy->connect(other, nullptr, 0);
    EXPECT_EQ(stage.strategy->record.get(), before);
    EXPECT_FALSE(restartsAsServer());
}

TEST_F(OtlsReconnectOfAServer, whatFailsLeavesAServer) {
    stage.lower->onConnect = [](auto...) { return SOCKET_ERROR; };
    stage.lower->onWSAConnect = [](auto...) { return SOCKET_ERROR; };
    stage.lower->onAccept = [](auto...) { return INVALID_SOCKET; };
    stage.lower->onAcceptEx = [](auto...) { return FALSE; };
    stage.strategy->connect(other, nullptr, 0);
    stage.strategy->WSAConnect(other, nullptr, 0, nullptr, nullptr, nullptr, nullptr);
    stage.strategy->AcceptEx(listener, other, nullptr, 0, 0, 0, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->socket, connection);
    stage.strategy->accept(listener, nullptr, nullptr);
    EXPECT_TRUE(restartsAsServer());
}

class OtlsFailedStart : public test::OtlsTest {};

TEST_F(OtlsFailedStart, failedStartKeepsSocketAndRoleOfAServer) {
    acceptOne();
    stage.resolve("peer");
    stage.arrive("client hello");
    const auto good = stage.platform.AcceptSecurityContext;
    stage.platform.AcceptSecurityContext = [](auto...) { return SEC_E_INVALID_TOKEN; };
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(stage.strategy->socket, connection);
    EXPECT_EQ(stage.strategy->record, nullptr);
    stage.platform.AcceptSecurityContext = good;
    stage.forget();
    EXPECT_TRUE(startsAsServer());
    EXPECT_EQ(stage.strategy->record->socket, connection);
}

TEST_F(OtlsFailedStart, failedStartKeepsSocketAndRoleOfAClient) {
    connectPlain();
    const auto good = stage.platform.InitializeSecurityContextW;
    stage.platform.InitializeSecurityContextW = [](auto...) { return SEC_E_INVALID_TOKEN; };
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    stage.platform.InitializeSecurityContextW = good;
    stage.forget();
    EXPECT_FALSE(startsAsServer());
    EXPECT_EQ(stage.strategy->record->socket, connection);
}

} // namespace
} // namespace VexaSsl
