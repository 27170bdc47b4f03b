// Each interface's abstract operations, reached through what an object leaves behind when it is
// destroyed: its memory with the interface's own table of operations in it.
#include "VexaSsl/KelException.h"

#include "config/ITwoLevelConfig.h"
#include "fakes/CollectingLog.h"
#include "fakes/ScriptedPlatform.h"
#include "fakes/ScriptedStrategy.h"

#include "VexaSsl/IConfig.h"
#include "VexaSsl/IOtlsProvider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

namespace VexaSsl::test {
namespace {

using ::testing::ElementsAre;

struct SomeConfig : IConfig {
    std::wstring getValue(const std::wstring&) const override { return L"whole"; }
    void setValue(const std::wstring&, const std::wstring&) override {}
};

struct SomeTwoLevelConfig : ITwoLevelConfig {
    std::wstring getValue(const std::wstring&, const std::wstring&) const override {
        return L"whole";
    }
};

struct SomeProvider : IOtlsProvider {
    int startOtls() override { return 0; }
};

template <class Interface, class Whole>
class Remains {
public:
    Remains() {
        auto* whole = new (place) Whole;
        part = whole;
        std::destroy_at(whole);
    }

    Interface& get() { return *part; }

private:
    alignas(Whole) std::byte place[sizeof(Whole)];
    Interface* part;
};

std::vector<int> dumps;

int dumpProcess(int argument) {
    dumps.push_back(argument);
    return 0;
}

class PureVirtualHandler : public testing::Test {
protected:
    PureVirtualHandler() {
        dumps.clear();
        platform.LoadLibraryA = [](const char*) { return HMODULE{nullptr}; };
    }

    template <class Call>
    void expectThrown(Call call) {
        try {
            call();
            FAIL() << "the call came back";
        } catch (const KelException& exception) {
            EXPECT_EQ(exception.first, 1);
            EXPECT_EQ(exception.second, 7);
        }
    }

    void callSlot() {
        Remains<ILog, CollectingLog> log;
        expectThrown([&] { log.get().setMinimumSeverity(Severity::Info); });
    }

    ScriptedPlatform platform;
    Remains<IConfig, SomeConfig> config;
};

TEST_F(PureVirtualHandler, slotOfILogThrows) {
    Remains<ILog, CollectingLog> log;
    expectThrown([&] { log.get().log(Severity::Info, L"text"); });
    expectThrown([&] { log.get().setMinimumSeverity(Severity::Info); });
}

TEST_F(PureVirtualHandler, slotOfIConfigThrows) {
    expectThrown([&] { config.get().getValue(L"key"); });
    expectThrown([&] { config.get().setValue(L"key", L"value"); });
}

TEST_F(PureVirtualHandler, slotOfITwoLevelConfigThrows) {
    Remains<ITwoLevelConfig, SomeTwoLevelConfig> source;
    expectThrown([&] { source.get().getValue(L"section", L"key"); });
}

TEST_F(PureVirtualHandler, slotOfISocketStrategyThrows) {
    Remains<ISocketStrategy, ScriptedStrategy> strategy;
    expectThrown([&] { strategy.get().send(1, nullptr, 0, 0); });
    expectThrown([&] { strategy.get().completeAcceptEx(); });
    expectThrown(
        [&] { strategy.get().WSAConnect(1, nullptr, 0, nullptr, nullptr, nullptr, nullptr); });
}

TEST_F(PureVirtualHandler, slotOfIOtlsProviderThrows) {
    Remains<IOtlsProvider, SomeProvider> provider;
    expectThrown([&] { provider.get().startOtls(); });
}

TEST_F(PureVirtualHandler, looksForTheDumpLibraryByItsName) {
    std::string name;
    platform.LoadLibraryA = [&](const char* asked) {
        name = asked;
        return HMODULE{nullptr};
    };
    callSlot();
    EXPECT_EQ(name, "kelmo");
    EXPECT_THAT(platform.calls, ElementsAre("LoadLibraryA"));
}

TEST_F(PureVirtualHandler, callsTheDumpEntryOnceWith2AndStillThrows) {
    platform.LoadLibraryA = [this](const char*) { return reinterpret_cast<HMODULE>(&platform); };
    platform.GetProcAddress = [this](HMODULE module, const char* name) {
        EXPECT_EQ(module, reinterpret_cast<HMODULE>(&platform));
        EXPECT_STREQ(name, "kelProcessDump");
        return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(&dumpProcess));
    };
    callSlot();
    EXPECT_THAT(dumps, ElementsAre(2));
    EXPECT_THAT(platform.calls, ElementsAre("LoadLibraryA", "GetProcAddress"));
}

TEST_F(PureVirtualHandler, dumpLibraryWithoutTheEntryIsPassedOver) {
    platform.LoadLibraryA = [this](const char*) { return reinterpret_cast<HMODULE>(&platform); };
    platform.GetProcAddress = [](HMODULE, const char*) { return FARPROC{nullptr}; };
    callSlot();
    EXPECT_THAT(dumps, ElementsAre());
    EXPECT_THAT(platform.calls, ElementsAre("LoadLibraryA", "GetProcAddress"));
}

TEST_F(PureVirtualHandler, theExceptionIsNoStandardException) {
    EXPECT_FALSE((std::is_base_of_v<std::exception, KelException>));
    EXPECT_FALSE(std::is_polymorphic_v<KelException>);
    EXPECT_EQ(sizeof(KelException), 8U);
    bool isCaughtAsItself = false;
    try {
        config.get().getValue(L"key");
    } catch (const std::exception&) {
    } catch (const KelException&) {
        isCaughtAsItself = true;
    }
    EXPECT_TRUE(isCaughtAsItself);
}

} // namespace
} // namespace VexaSsl::test
