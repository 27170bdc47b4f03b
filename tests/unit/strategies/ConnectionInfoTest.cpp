// What can be asked of the strategies that don't encrypt, of log layers and before a switch to TLS.
#include "fakes/ScriptedStrategy.h"
#include "strategies/LogSocketStrategy.h"
#include "strategies/UnsecureSocketStrategy.h"
#include "unit/strategies/OtlsStage.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace VexaSsl::test {
namespace {

// A strategy that can be asked.
class AskedStrategy : public ScriptedStrategy, public IConnectionInfo {
public:
    ConnectionInfo connectionInfo() const override {
        ConnectionInfo info;
        info.protocol = L"TLS 9";
        return info;
    }
    ConnectionFailure lastFailure() const override { return {FailureCause::Expired, -5, L"old"}; }
    int heldBytes() override { return 77; }
};

TEST(LogLayerInfo, isThatOfTheStrategyBelowWithoutALine) {
    CollectingLog log;
    auto lower = std::make_unique<LogSocketStrategy>(log, std::make_unique<AskedStrategy>(), L"L");
    LogSocketStrategy layers(log, std::move(lower), L"U");
    IConnectionInfo& info = layers;
    EXPECT_EQ(info.connectionInfo().protocol, L"TLS 9");
    EXPECT_EQ(info.lastFailure().cause, FailureCause::Expired);
    EXPECT_EQ(info.lastFailure().status, -5);
    EXPECT_EQ(info.heldBytes(), 77);
    EXPECT_TRUE(log.lines.empty());
}

void expectNothing(IConnectionInfo& info) {
    EXPECT_EQ(info.connectionInfo().protocol, L"");
    EXPECT_EQ(info.lastFailure().cause, FailureCause::None);
    EXPECT_EQ(info.heldBytes(), 0);
}

TEST(LogLayerInfo, isEmptyOverAStrategyThatCannotBeAsked) {
    CollectingLog log;
    LogSocketStrategy layer(log, std::make_unique<ScriptedStrategy>(), L"L");
    expectNothing(layer);
}

TEST(UnsecureInfo, isEmptyAfterAFailureToo) {
    ScriptedPlatform platform;
    CollectingLog log;
    UnsecureSocketStrategy strategy(log);
    platform.connect = [](auto...) { return SOCKET_ERROR; };
    strategy.connect(7, nullptr, 0);
    expectNothing(strategy);
}

class OtlsInfo : public OtlsTest {
protected:
    FailureCause cause() const { return stage.strategy->lastFailure().cause; }
};

TEST_F(OtlsInfo, isEmptyInTheClear) {
    connectPlain();
    expectNothing(*stage.strategy);
}

TEST_F(OtlsInfo, countsHeldBytesOnceEncrypted) {
    startEncrypted();
    stage.hold(stage.cipher.seal("data"));
    EXPECT_EQ(stage.strategy->heldBytes(), 4);
}

TEST_F(OtlsInfo, failedSwitchHasItsCauseAndAGoodOneNone) {
    connectPlain();
    stage.platform.InitializeSecurityContextW = [good = stage.platform.InitializeSecurityContextW,
                                                 first = true](auto... rest) mutable {
        return std::exchange(first, false) ? SEC_E_UNTRUSTED_ROOT : good(rest...);
    };
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(cause(), FailureCause::PeerNotTrusted);
    EXPECT_EQ(stage.strategy->startOtls(), 0);
    EXPECT_EQ(cause(), FailureCause::None);
}

TEST_F(OtlsInfo, switchWithoutANameIsTheCallersMistake) {
    connectPlain();
    stage.strategy->remoteHostName.clear();
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(cause(), FailureCause::Caller);
}

TEST_F(OtlsInfo, acceptThatIsCompletedInTheClearHasNoFailure) {
    connectPlain();
    stage.strategy->remoteHostName.clear();
    stage.strategy->startOtls();
    stage.lower->onCompleteAcceptEx = [] { return 0; };
    EXPECT_EQ(stage.strategy->completeAcceptEx(), 0);
    EXPECT_EQ(cause(), FailureCause::None);
    stage.lower->onCompleteAcceptEx = [] { return SOCKET_ERROR; };
    EXPECT_EQ(stage.strategy->completeAcceptEx(), SOCKET_ERROR);
    EXPECT_EQ(cause(), FailureCause::Transport);
}

TEST_F(OtlsInfo, failedConnectAndAcceptInTheClearAreTransport) {
    stage.lower->onConnect = [](auto...) { return SOCKET_ERROR; };
    stage.lower->onAccept = [](auto...) { return INVALID_SOCKET; };
    stage.strategy->connect(7, nullptr, 0);
    EXPECT_EQ(cause(), FailureCause::Transport);
    stage.lower->onConnect = [](auto...) { return 0; };
    stage.strategy->connect(7, nullptr, 0);
    EXPECT_EQ(cause(), FailureCause::None);
    stage.strategy->accept(3, nullptr, nullptr);
    EXPECT_EQ(cause(), FailureCause::Transport);
}

} // namespace
} // namespace VexaSsl::test
