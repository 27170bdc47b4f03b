#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace VexaSsl {
namespace {

using test::LogLine;

constexpr SOCKET connection = test::SecureStage<>::connection;
constexpr SOCKET listener = test::SecureStage<>::listener;

static_assert(noexcept(std::declval<SecureSocketStrategy&>().send(0, nullptr, 0, 0)));
static_assert(noexcept(std::declval<SecureSocketStrategy&>().completeAcceptEx()));
static_assert(!noexcept(std::declval<ISocketStrategy&>().send(0, nullptr, 0, 0)));

class SecureSocketStrategyFrame : public testing::Test {
protected:
    SecureSocketStrategyFrame() {
        stage.make();
        stage.resolve("peer");
        stage.forget();
    }
    int connect() { return stage.strategy->connect(connection, nullptr, 0); }

    void refuseHandshakes() {
        stage.platform.InitializeSecurityContextW = [](auto...) { return SEC_E_INVALID_TOKEN; };
        stage.platform.AcceptSecurityContext = [](auto...) { return SEC_E_INVALID_TOKEN; };
    }
    template <typename Exception>
    void failHandshakes(Exception exception) {
        stage.platform.AcquireCredentialsHandleW = [exception](auto...) -> SECURITY_STATUS {
            throw exception;
        };
    }
    LogLine lastLine() const { return stage.log.lines.back(); }

    test::SecureStage<> stage;
};

TEST_F(SecureSocketStrategyFrame, newStrategyIsUnconnected) {
    stage.make();
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_EQ(stage.strategy->record, nullptr);
    EXPECT_EQ(stage.strategy->remoteHostName, L"");
    EXPECT_EQ(stage.strategy->remoteServiceName, L"");
    EXPECT_TRUE(stage.strategy->pendingReceives.empty());
}

TEST_F(SecureSocketStrategyFrame, configurationIsCopied) {
    stage.config.setValue(L"RequireClientAuthentication", L"bad from now on");
    EXPECT_EQ(connect(), 0);
}

TEST_F(SecureSocketStrategyFrame, secondConnectReplacesTheRecord) {
    connect();
    stage.holdPlain("buffered");
    EXPECT_EQ(connect(), 0);
    EXPECT_EQ(stage.deleted, (std::vector<ULONG_PTR>{1}));
    EXPECT_EQ(stage.heldPlain(), "");
    EXPECT_EQ(stage.strategy->record->securityContext.address()->dwLower, 2U);
}

TEST_F(SecureSocketStrategyFrame, oldRecordLivesUntilTheNewHandshakeIsDone) {
    connect();
    stage.platform.InitializeSecurityContextW =
        [&, good = stage.platform.InitializeSecurityContextW](auto... arguments) {
            EXPECT_TRUE(stage.deleted.empty());
            return good(arguments...);
        };
    connect();
    EXPECT_EQ(stage.deleted.size(), 1U);
}

TEST_F(SecureSocketStrategyFrame, failedHandshakeInConnectShutsDownAndKeepsTheRecord) {
    connect();
    SecureSocketRecord* const record = stage.strategy->record.get();
    stage.forget();
    refuseHandshakes();
    stage.platform.shutdown = [](SOCKET s, int how) {
        EXPECT_EQ(s, SOCKET{8});
        EXPECT_EQ(how, SD_BOTH);
        return 0;
    };
    EXPECT_EQ(stage.strategy->connect(8, nullptr, 0), SOCKET_ERROR);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_EQ(stage.platform.lastError, WSAECONNABORTED);
    EXPECT_EQ(stage.strategy->record.get(), record);
    EXPECT_EQ(lastLine(), (LogLine{Severity::Error, L"Can't establish a security context. "
                                                    L"InitializeSecurityContext failed"}));
    ASSERT_GE(stage.platform.calls.size(), 2U);
    EXPECT_EQ(stage.platform.calls.back(), "WSASetLastError");
    EXPECT_EQ(stage.platform.calls.end()[-2], "shutdown");
}

TEST_F(SecureSocketStrategyFrame, failedHandshakeIsLoggedBeforeTheShutdown) {
    refuseHandshakes();
    stage.platform.shutdown = [&](SOCKET, int) {
        EXPECT_EQ(lastLine().text,
                  L"Can't establish a security context. InitializeSecurityContext failed");
        return 0;
    };
    connect();
    EXPECT_EQ(stage.platformCalls("shutdown"), 1);
}

TEST_F(SecureSocketStrategyFrame, failedShutdownAddsOneLineAndChangesNothingElse) {
    refuseHandshakes();
    stage.platform.shutdown = [&](SOCKET, int) {
        stage.platform.lastError = WSAENOTCONN;
        return SOCKET_ERROR;
    };
    EXPECT_EQ(connect(), SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, WSAECONNABORTED);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_EQ(lastLine(),
              (LogLine{Severity::Debug, L"::shutdown failed with 10057 (text of 10057)"}));
}

TEST_F(SecureSocketStrategyFrame, failedHandshakeInAcceptGivesNoSocket) {
    refuseHandshakes();
    stage.lower->onAccept = [](auto...) { return connection; };
    stage.arrive("client hello");
    EXPECT_EQ(stage.strategy->accept(listener, nullptr, nullptr), INVALID_SOCKET);
    EXPECT_EQ(stage.platform.lastError, WSAECONNABORTED);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_EQ(stage.platformCalls("shutdown"), 1);
    EXPECT_EQ(lastLine(), (LogLine{Severity::Error, L"Can't establish a security context. "
                                                    L"AcceptSecurityContext failed"}));
}

TEST_F(SecureSocketStrategyFrame, failedHandshakeInCompleteAcceptExIsTreatedLikeInAccept) {
    refuseHandshakes();
    stage.lower->onAcceptEx = [](auto...) { return TRUE; };
    stage.strategy->AcceptEx(listener, connection, nullptr, 0, 32, 32, nullptr, nullptr);
    stage.arrive("client hello");
    EXPECT_EQ(stage.strategy->completeAcceptEx(), SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, WSAECONNABORTED);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_EQ(stage.platformCalls("shutdown"), 1);
    EXPECT_EQ(stage.strategy->completeAcceptEx(), SOCKET_ERROR) << "the socket is forgotten";
    EXPECT_EQ(stage.platformCalls("shutdown"), 1);
}

TEST_F(SecureSocketStrategyFrame, exhaustedMemoryInAHandshakeIsLogged) {
    failHandshakes(std::bad_alloc());
    EXPECT_EQ(connect(), SOCKET_ERROR);
    EXPECT_EQ(lastLine(), test::outOfMemoryLine());
    EXPECT_EQ(stage.platform.lastError, WSAECONNABORTED);
    EXPECT_EQ(stage.platformCalls("shutdown"), 1);
}

TEST_F(SecureSocketStrategyFrame, otherExceptionInAHandshakeIsLogged) {
    failHandshakes(std::logic_error("odd"));
    EXPECT_EQ(connect(), SOCKET_ERROR);
    EXPECT_EQ(lastLine(), (LogLine{Severity::Error,
                                   L"An unexpected C++ standard library exception occurred: odd"}));
    EXPECT_EQ(stage.platform.lastError, WSAECONNABORTED);
    EXPECT_EQ(stage.platformCalls("shutdown"), 1);
}

TEST(SecureSocketStrategy, badSecurityOptionShowsAtTheFirstConnection) {
    test::SecureStage<> stage;
    stage.config.setValue(L"RequireClientAuthentication", L"Yes");
    stage.make();
    stage.resolve("peer");
    EXPECT_EQ(stage.strategy->connect(connection, nullptr, 0), SOCKET_ERROR);
    EXPECT_EQ(
        stage.log.lines,
        (std::vector<LogLine>{
            {Severity::Error, L"Supplied value [Yes] of RequireClientAuthentication is invalid"},
            {Severity::Error, L"An unexpected C++ standard library exception occurred: "
                              L"invalid configuration"}}));
    EXPECT_EQ(stage.platformCalls("shutdown"), 1);
    EXPECT_EQ(stage.platform.lastError, WSAECONNABORTED);
}

// A log may make system calls of its own.
TEST_F(SecureSocketStrategyFrame, refusalSetsItsErrorCodeAfterItsLine) {
    stage.log.onLine = [&](Severity, const std::wstring&) { stage.platform.lastError = 4711; };
    const auto expectItsCode = [&] {
        EXPECT_EQ(stage.platform.lastError, WSAEINVAL);
        stage.platform.lastError = 0;
    };
    stage.strategy->remoteHostName.clear();
    WSAOVERLAPPED state{};
    DWORD count = 0;
    connect();
    expectItsCode();
    stage.strategy->AcceptEx(listener, connection, nullptr, 1, 0, 0, nullptr, nullptr);
    expectItsCode();
    stage.strategy->WSASend(connection, nullptr, 0, &count, 0, &state, nullptr);
    expectItsCode();
    stage.strategy->WSARecv(connection, nullptr, 0, &count, &count, nullptr, nullptr);
    expectItsCode();
    EXPECT_EQ(stage.log.lines.size(), 4U);
}

TEST_F(SecureSocketStrategyFrame, destructionLeavesTheSocketOpenAndUnshut) {
    connect();
    stage.platform.calls.clear();
    stage.strategy.reset();
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
    EXPECT_EQ(stage.platformCalls("EncryptMessage"), 0) << "no closure goes to the peer";
    EXPECT_EQ(stage.platformCalls("DeleteSecurityContext"), 1);
}

TEST(SecureSocketStrategy, destructionEndsTheRecordBeforeTheStrategyBelow) {
    test::SecureStage<> stage;
    stage.makeConnected();
    stage.lower->onDestroyed = [&] { stage.platform.calls.emplace_back("strategy below"); };
    stage.strategy.reset();
    ASSERT_GE(stage.platform.calls.size(), 2U);
    EXPECT_EQ(stage.platform.calls.back(), "strategy below");
    EXPECT_EQ(stage.platform.calls.end()[-2], "DeleteSecurityContext");
}

TEST(SecureSocketStrategyDeathTest, logThatThrowsWhileItTakesAFailureEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    test::SecureStage<> stage;
    stage.make();
    stage.log.onLine = [](Severity severity, const std::wstring&) {
        if (severity == Severity::Error) {
            throw std::runtime_error("the log is full");
        }
    };
    EXPECT_DEATH(stage.strategy->connect(connection, nullptr, 0), "terminate");
}

} // namespace
} // namespace VexaSsl
