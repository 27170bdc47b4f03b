#include "unit/strategies/OtlsStage.h"

#include <type_traits>

namespace VexaSsl {
namespace {

using test::LogLine;
using Stage = test::OtlsStage;

static_assert(noexcept(std::declval<SometimesSecureSocketStrategy&>().startOtls()));
static_assert(std::has_virtual_destructor_v<IOtlsProvider>);

class Otls : public test::OtlsTest {};

void expectRefused(const wchar_t* connectionName) {
    Stage stage;
    stage.config.setValue(L"ConnectionName", connectionName);
    try {
        stage.make();
        FAIL() << "nothing was thrown";
    } catch (const std::out_of_range& refusal) {
        EXPECT_STREQ(refusal.what(), "invalid configuration");
    }
    EXPECT_EQ(stage.log.lines.back(),
              (LogLine{Severity::Error, std::wstring(L"Internal connection name [") +
                                            connectionName + L"] does not support OTLS"}));
}

TEST(SometimesSecureSocketStrategy, defaultConnectionIsRefused) {
    expectRefused(L"Default");
}

TEST(SometimesSecureSocketStrategy, builtInNameIsRefusedInAnyLetterCase) {
    expectRefused(L"odbcthinclient");
    expectRefused(L"OdbcThinClient");
    expectRefused(L"ODBCTHINCLIENT");
}

TEST(SometimesSecureSocketStrategy, everyBuiltInNameIsRefused) {
    for (const wchar_t* name : {L"ClientToMox", L"QLT", L"VexaHttpToClient", L"WebSocketsToClient",
                                L"PresentationClient", L"VexaTcpIpConnection"}) {
        expectRefused(name);
    }
}

// A strategy that sets a flag when it is destroyed.
std::unique_ptr<test::ScriptedStrategy> watchedStrategy(bool& destroyed) {
    auto strategy = std::make_unique<test::ScriptedStrategy>();
    strategy->onDestroyed = [&destroyed] { destroyed = true; };
    return strategy;
}

TEST(SometimesSecureSocketStrategy, refusalDestroysTheWrappedStrategy) {
    Stage stage;
    stage.config.setValue(L"ConnectionName", L"Default");
    bool destroyed = false;
    EXPECT_THROW(SometimesSecureSocketStrategy(stage.log, stage.config, watchedStrategy(destroyed)),
                 std::out_of_range);
    EXPECT_TRUE(destroyed);
}

TEST_F(Otls, providerIsReachedByACrossCast) {
    ISocketStrategy* const held = stage.strategy.get();
    IOtlsProvider* const provider = dynamic_cast<IOtlsProvider*>(held);
    ASSERT_NE(provider, nullptr);
    EXPECT_EQ(provider->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines, (std::vector<LogLine>{test::noHostNameLine}));
}

TEST(SometimesSecureSocketStrategy, strategyCanBeDestroyedThroughEitherBase) {
    Stage stage;
    bool destroyed = false;
    const IOtlsProvider* const provider =
        new SometimesSecureSocketStrategy(stage.log, stage.config, watchedStrategy(destroyed));
    delete provider;
    EXPECT_TRUE(destroyed);
}

} // namespace
} // namespace VexaSsl
