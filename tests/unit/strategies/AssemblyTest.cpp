#include "VexaSsl/VexaSsl.h"
#include "config/SslConfig.h"
#include "fakes/CollectingLog.h"
#include "fakes/ScriptedPlatform.h"
#include "fakes/SecureConnection.h"
#include "strategies/LogSocketStrategy.h"
#include "strategies/SometimesSecureSocketStrategy.h"
#include "strategies/UnsecureSocketStrategy.h"

#include <gtest/gtest.h>

namespace VexaSsl {
namespace {

using test::LogLine;

class Assembly : public testing::Test {
protected:
    Assembly() { test::installSecurityPackage(platform); }

    void configure(const wchar_t* useEncryption, const wchar_t* injectLogLayers,
                   const wchar_t* severity = L"Info") {
        config.setValue(L"UseEncryption", useEncryption);
        config.setValue(L"InjectLogLayers", injectLogLayers);
        config.setValue(L"MinimumSeverityToLog", severity);
    }
    std::unique_ptr<ISocketStrategy> build() {
        auto stack = instantiateSocketStrategy(log, config);
        log.lines.clear();
        return stack;
    }
    template <typename Strategy>
    static bool is(const std::unique_ptr<ISocketStrategy>& stack) {
        const ISocketStrategy& outermost = *stack;
        return typeid(outermost) == typeid(Strategy);
    }
    // The lines of one send in the clear.
    std::vector<std::wstring> linesOfSend(ISocketStrategy& stack) {
        log.lines.clear();
        platform.send = [](SOCKET, const char*, int len, int) { return len; };
        stack.send(7, "ab", 2, 0);
        return texts();
    }
    std::vector<std::wstring> texts() const {
        std::vector<std::wstring> found;
        for (const LogLine& line : log.lines) {
            found.push_back(line.text);
        }
        return found;
    }

    test::ScriptedPlatform platform;
    test::CollectingLog log;
    SslConfig config{log, L"host's own"};
};

TEST_F(Assembly, defaultsGiveTheBareStrategyAndThresholdInfo) {
    const auto stack = build();
    EXPECT_TRUE(is<UnsecureSocketStrategy>(stack));
    EXPECT_EQ(log.thresholds, (std::vector<Severity>{Severity::Info}));
}

TEST_F(Assembly, plainStackDoesNotNeedTheSecurityPackage) {
    platform.EnumerateSecurityPackagesW = nullptr; // a call would fail the test
    const auto stack = build();
    EXPECT_TRUE(platform.calls.empty());
}

TEST_F(Assembly, plainStackWithLogLayersHasTheEncryptionLayer) {
    configure(L"False", L"True", L"Debug");
    const auto stack = build();
    EXPECT_TRUE(is<LogSocketStrategy>(stack));
    EXPECT_EQ(
        linesOfSend(*stack),
        (std::vector<std::wstring>{L"Encryption Layer using socket [7] to send [2] byte message"}));
    EXPECT_EQ(platform.calls, (std::vector<std::string>{"send"}));
}

TEST_F(Assembly, encryptionGivesTheSecureStrategy) {
    configure(L"True", L"False");
    EXPECT_TRUE(is<SecureSocketStrategy>(build()));
}

TEST_F(Assembly, opportunisticEncryptionGivesTheSwitchableStrategy) {
    configure(L"Opportunistically", L"False");
    const auto stack = build();
    EXPECT_TRUE(is<SometimesSecureSocketStrategy>(stack));
    EXPECT_NE(dynamic_cast<IOtlsProvider*>(stack.get()), nullptr);
    EXPECT_TRUE(linesOfSend(*stack).empty());
}

TEST_F(Assembly, opportunisticStackWithLogLayersIsLoggedTwiceAndCantBeSwitched) {
    configure(L"Opportunistically", L"True", L"Debug");
    const auto stack = build();
    EXPECT_TRUE(is<LogSocketStrategy>(stack));
    EXPECT_EQ(dynamic_cast<IOtlsProvider*>(stack.get()), nullptr);
    EXPECT_EQ(
        linesOfSend(*stack),
        (std::vector<std::wstring>{L"Application Layer using socket [7] to send [2] byte message",
                                   L"Encryption Layer using socket [7] to send [2] byte message"}));
}

TEST_F(Assembly, completedReceiveInTheClearIsLoggedByBothLayers) {
    configure(L"Opportunistically", L"True", L"Debug");
    const auto stack = build();
    DWORD count = 17;
    EXPECT_EQ(stack->completeWSARecv(0, &count, nullptr), 0);
    EXPECT_EQ(texts(), (std::vector<std::wstring>{
                           L"Application Layer used socket [18446744073709551615] to WSARecv [17] "
                           L"byte message",
                           L"Encryption Layer used socket [18446744073709551615] to WSARecv [17] "
                           L"byte message"}));
}

TEST_F(Assembly, badSeverityGivesNoStackAndLeavesTheThreshold) {
    configure(L"True", L"True", L"Error");
    EXPECT_THROW(instantiateSocketStrategy(log, config), std::out_of_range);
    EXPECT_EQ(log.lines, (std::vector<LogLine>{
                             {Severity::Error,
                              L"Supplied value [Error] of MinimumSeverityToLog is invalid"}}));
    EXPECT_TRUE(log.thresholds.empty());
    EXPECT_TRUE(platform.calls.empty());
}

TEST_F(Assembly, onlyTheFirstOfTwoBadOptionsIsLogged) {
    configure(L"Yes", L"True", L"Error");
    EXPECT_THROW(instantiateSocketStrategy(log, config), std::out_of_range);
    EXPECT_EQ(texts(),
              (std::vector<std::wstring>{L"Supplied value [Yes] of UseEncryption is invalid"}));
}

TEST_F(Assembly, thresholdIsSetFirstAndStays) {
    configure(L"Opportunistically", L"False", L"Warning");
    config.setValue(L"ConnectionName", L"Default");
    EXPECT_THROW(instantiateSocketStrategy(log, config), std::out_of_range);
    EXPECT_EQ(log.thresholds, (std::vector<Severity>{Severity::Warning}));
}

TEST_F(Assembly, logLayersUnderThresholdInfoWriteNothing) {
    test::ThresholdLog quiet;
    configure(L"False", L"True", L"Info");
    const auto stack = instantiateSocketStrategy(quiet, config);
    EXPECT_TRUE(is<LogSocketStrategy>(stack));
    platform.send = [](SOCKET, const char*, int len, int) { return len; };
    EXPECT_EQ(stack->send(7, "ab", 2, 0), 2);
    EXPECT_TRUE(quiet.lines.empty());
}

TEST_F(Assembly, configurationCanGoRightAfterTheCall) {
    auto shortLived = std::make_unique<SslConfig>(log, L"host's own");
    shortLived->setValue(L"UseEncryption", L"Opportunistically");
    const auto stack = instantiateSocketStrategy(log, *shortLived);
    shortLived.reset();
    platform.connect = [](auto...) { return 0; };
    EXPECT_EQ(stack->connect(7, nullptr, 0), 0);
}

// The whole encrypted stack with the toy cipher.
class EncryptedStack : public testing::Test {
protected:
    EncryptedStack() {
        stage.config.setValue(L"UseEncryption", L"True");
        stage.config.setValue(L"InjectLogLayers", L"True");
        stage.config.setValue(L"MinimumSeverityToLog", L"Debug");
        stage.platform.getaddrinfo = [](auto...) { return 0; };
        stage.platform.connect = [](auto...) { return 0; };
        stage.platform.send = [](SOCKET, const char*, int len, int) { return len; };
        stack = instantiateSocketStrategy(stage.log, stage.config);
        stack->getaddrinfo("peer", nullptr, nullptr, nullptr);
        EXPECT_EQ(stack->connect(7, nullptr, 0), 0);
        stage.log.lines.clear();
    }

    test::SecureStage<> stage;
    std::unique_ptr<ISocketStrategy> stack;
};

TEST_F(EncryptedStack, twoLayersLogPlaintextAndRecordSizes) {
    EXPECT_EQ(stack->send(7, "hello", 5, 0), 5);
    EXPECT_EQ(
        stage.log.lines,
        (std::vector<LogLine>{
            {Severity::Debug, L"Application Layer using socket [7] to send [5] byte message"},
            {Severity::Debug, L"Encryption Layer using socket [7] to send [17] byte message"}}));
}

TEST_F(EncryptedStack, completedReceiveIsLoggedOnlyAbove) {
    stage.platform.WSARecv = [&](SOCKET, WSABUF* buffers, DWORD, DWORD*, DWORD*, WSAOVERLAPPED*,
                                 LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
        const std::string wire = stage.cipher.seal("hello");
        std::copy(wire.begin(), wire.end(), buffers[0].buf);
        return 0;
    };
    char data[100];
    WSABUF buffer{100, data};
    DWORD count = 0;
    DWORD flags = 0;
    WSAOVERLAPPED state{};
    stack->WSARecv(7, &buffer, 1, &count, &flags, &state, nullptr);
    count = 17;
    EXPECT_EQ(stack->completeWSARecv(0, &count, nullptr), 0);
    EXPECT_EQ(count, 5U);
    EXPECT_EQ(
        stage.log.lines,
        (std::vector<LogLine>{
            {Severity::Debug, L"Application Layer used socket [7] to WSARecv [17] byte message"}}));
}

} // namespace
} // namespace VexaSsl
