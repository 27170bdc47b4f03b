// Data operations that a host calls before a handshake has succeeded.
#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace VexaSsl::test {
namespace {

constexpr SOCKET connection = SecureStage<>::connection;

struct DataOperation {
    const char* name;
    int (*call)(ISocketStrategy& strategy);
};

void PrintTo(const DataOperation& operation, std::ostream* out) {
    *out << operation.name;
}

char memory[4];
WSABUF buffer{sizeof memory, memory};
WSAOVERLAPPED state{};
DWORD flags = msgWaitAll;
DWORD count = 0;

constexpr DataOperation dataOperations[] = {
    {"send",
     [](ISocketStrategy& strategy) { return strategy.send(connection, memory, sizeof memory, 0); }},
    {"recv",
     [](ISocketStrategy& strategy) { return strategy.recv(connection, memory, sizeof memory, 0); }},
    {"select",
     [](ISocketStrategy& strategy) {
         fd_set readable{};
         readable.fd_count = 1;
         readable.fd_array[0] = static_cast<OpenSecureSocketStrategy&>(strategy).socket;
         return strategy.select(0, &readable, nullptr, nullptr, nullptr);
     }},
    {"WSASend",
     [](ISocketStrategy& strategy) {
         return strategy.WSASend(connection, &buffer, 1, &count, 0, nullptr, nullptr);
     }},
    {"WSARecv",
     [](ISocketStrategy& strategy) {
         return strategy.WSARecv(connection, &buffer, 1, &count, &flags, &state, nullptr);
     }},
    {"completeWSARecv",
     [](ISocketStrategy& strategy) { return strategy.completeWSARecv(0, &count, nullptr); }},
};

class UnsecuredCall : public testing::TestWithParam<DataOperation> {
protected:
    UnsecuredCall() {
        stage.make();
        flags = msgWaitAll;
    }

    void expectRefused() {
        count = sizeof memory;
        stage.platform.lastError = 0;
        EXPECT_EQ(GetParam().call(*stage.strategy), SOCKET_ERROR);
        EXPECT_EQ(stage.platform.lastError, WSAENOTCONN);
        const std::string name = GetParam().name;
        EXPECT_EQ(stage.log.lines,
                  (std::vector<LogLine>{
                      {Severity::Error, std::wstring(name.begin(), name.end()) +
                                            L" called before the connection was secured"}}));
        EXPECT_TRUE(stage.lower->calls.empty());
    }

    SecureStage<> stage;
};

TEST_P(UnsecuredCall, callOnNewStrategyIsRefused) {
    expectRefused();
    EXPECT_TRUE(stage.strategy->pendingReceives.empty());
    EXPECT_EQ(flags, DWORD{msgWaitAll});
}

TEST_P(UnsecuredCall, callAfterFailedHandshakeIsRefused) {
    stage.platform.InitializeSecurityContextW = [](auto...) { return SEC_E_INTERNAL_ERROR; };
    stage.resolve("peer");
    stage.strategy->connect(connection, nullptr, 0);
    stage.forget();
    expectRefused();
}

// The accepted socket is stored before its connection is secured.
TEST_P(UnsecuredCall, callBetweenAcceptAndHandshakeIsRefused) {
    stage.lower->onAcceptEx = [](auto...) { return TRUE; };
    stage.strategy->AcceptEx(SecureStage<>::listener, connection, nullptr, 0, 0, 0, nullptr,
                             nullptr);
    stage.forget();
    expectRefused();
    EXPECT_EQ(stage.strategy->socket, connection);
}

INSTANTIATE_TEST_SUITE_P(Operations, UnsecuredCall, testing::ValuesIn(dataOperations),
                         [](const auto& operation) { return std::string(operation.param.name); });

TEST(UnsecuredTransfer, countOfRefusedCompletionIsZero) {
    SecureStage<> stage;
    stage.make();
    DWORD transferred = 4;
    stage.strategy->completeWSARecv(0, &transferred, nullptr);
    EXPECT_EQ(transferred, 0U);
}

} // namespace
} // namespace VexaSsl::test
