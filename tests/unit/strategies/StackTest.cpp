// Whole stacks: when values are checked, how long the configuration is needed, and which last error
// a host reads.
#include "VexaSsl/VexaSsl.h"
#include "config/SslConfig.h"
#include "fakes/CollectingLog.h"
#include "fakes/ScriptedPlatform.h"
#include "fakes/SecureConnection.h"
#include "fakes/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace VexaSsl {
namespace {

using test::LogLine;

constexpr int systemsCode = 10099;

LogLine refusal(const std::wstring& value) {
    return {Severity::Error, L"Supplied value [" + value + L"] of UseEncryption is invalid"};
}

class StackOfBadValue : public testing::Test {
protected:
    void expectRefused(const IConfig& config) {
        log.lines.clear();
        try {
            instantiateSocketStrategy(log, config);
            ADD_FAILURE() << "a stack was built";
        } catch (const std::out_of_range& failure) {
            EXPECT_STREQ(failure.what(), "invalid configuration");
        }
        EXPECT_EQ(log.lines, (std::vector<LogLine>{refusal(L"Perhaps")}));
        EXPECT_TRUE(log.thresholds.empty());
    }

    test::TemporaryFolder folder;
    test::ScriptedPlatform platform;
    test::CollectingLog log;
};

TEST_F(StackOfBadValue, wordThatSetValueTookIsRefusedOnlyHere) {
    SslConfig config(log, L"Foo");
    config.setValue(L"UseEncryption", L"Perhaps");
    EXPECT_TRUE(log.lines.empty());
    expectRefused(config);
}

TEST_F(StackOfBadValue, wordThatAStoreGaveIsRefusedOnlyHere) {
    const auto store =
        folder.write("store.ini", "[Connections]\nFoo=S\n[S]\nUseEncryption=Perhaps\n");
    const auto config = constructSslConfigurationFromSslConfigStore(log, store, L"Foo");
    for (const LogLine& line : log.lines) {
        EXPECT_EQ(line.severity, Severity::Debug);
    }
    expectRefused(*config);
}

TEST(EncryptedStackAlone, connectionIsSecuredAfterItsConfigurationWasDestroyed) {
    test::SecureStage<> stage;
    auto config = std::make_unique<SslConfig>(stage.log, L"Foo");
    config->setValue(L"UseEncryption", L"True");
    config->setValue(L"ServerCertificateToSendName", L"unit.test");
    const auto stack = instantiateSocketStrategy(stage.log, *config);
    config.reset();
    stage.platform.accept = [](auto...) { return SOCKET{7}; };
    stage.platform.recv = [](SOCKET, char* buf, int, int) {
        *buf = 'h';
        return 1;
    };
    stage.platform.send = [](SOCKET, const char*, int len, int) { return len; };
    EXPECT_EQ(stack->accept(3, nullptr, nullptr), SOCKET{7});
    EXPECT_EQ(stage.handshake.shelf.namesSearched, (std::vector<std::wstring>{L"unit.test"}));
    EXPECT_EQ(stack->send(7, "hello", 5, 0), 5);
}

// Every system call fails with the same error code.
class FailingStack : public testing::TestWithParam<bool> {
protected:
    FailingStack() {
        const auto fail = [this](auto...) {
            platform.lastError = systemsCode;
            return SOCKET_ERROR;
        };
        const auto giveNoSocket = [this](auto...) {
            platform.lastError = systemsCode;
            return INVALID_SOCKET;
        };
        platform.send = fail;
        platform.recv = fail;
        platform.connect = fail;
        platform.accept = giveNoSocket;
        platform.select = fail;
        platform.getaddrinfo = fail;
        platform.GetAddrInfoW = fail;
        platform.AcceptEx = [this](auto...) {
            platform.lastError = systemsCode;
            return FALSE;
        };
        platform.WSAAccept = giveNoSocket;
        platform.WSASend = fail;
        platform.WSARecv = fail;
        platform.WSAConnect = fail;
        SslConfig config(log, L"Foo");
        config.setValue(L"InjectLogLayers", GetParam() ? L"True" : L"False");
        stack = instantiateSocketStrategy(log, config);
    }

    // One operation has failed: no other system call ran and its error code is unchanged.
    void expectTheSystems(bool failed) {
        EXPECT_TRUE(failed);
        EXPECT_EQ(platform.lastError, systemsCode);
        EXPECT_EQ(platform.calls.size(), 1U);
        platform.calls.clear();
        platform.lastError = 0;
    }

    test::ScriptedPlatform platform;
    test::ThresholdLog log;
    std::unique_ptr<ISocketStrategy> stack;
};

TEST_P(FailingStack, resultsAndLastErrorOfEveryOperationAreTheSystems) {
    char data[8] = {};
    DWORD count = 0;
    DWORD flags = 0;
    WSAOVERLAPPED state{};
    WSABUF buffer{8, data};
    expectTheSystems(stack->send(7, data, 8, 0) == SOCKET_ERROR);
    expectTheSystems(stack->recv(7, data, 8, 0) == SOCKET_ERROR);
    expectTheSystems(stack->connect(7, nullptr, 0) == SOCKET_ERROR);
    expectTheSystems(stack->accept(7, nullptr, nullptr) == INVALID_SOCKET);
    expectTheSystems(stack->select(0, nullptr, nullptr, nullptr, nullptr) == SOCKET_ERROR);
    expectTheSystems(stack->getaddrinfo(nullptr, nullptr, nullptr, nullptr) == SOCKET_ERROR);
    expectTheSystems(stack->GetAddrInfoW(nullptr, nullptr, nullptr, nullptr) == SOCKET_ERROR);
    expectTheSystems(stack->AcceptEx(3, 7, data, 0, 0, 0, &count, &state) == FALSE);
    expectTheSystems(stack->WSAAccept(7, nullptr, nullptr, nullptr, 0) == INVALID_SOCKET);
    expectTheSystems(stack->WSASend(7, &buffer, 1, &count, 0, &state, nullptr) == SOCKET_ERROR);
    expectTheSystems(stack->WSARecv(7, &buffer, 1, &count, &flags, &state, nullptr) ==
                     SOCKET_ERROR);
    expectTheSystems(stack->WSAConnect(7, nullptr, 0, nullptr, nullptr, nullptr, nullptr) ==
                     SOCKET_ERROR);
    EXPECT_TRUE(log.lines.empty()) << "the threshold is Info";
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutALogLayer, FailingStack, testing::Bool(),
                         [](const auto& row) { return row.param ? "logged" : "bare"; });

} // namespace
} // namespace VexaSsl
