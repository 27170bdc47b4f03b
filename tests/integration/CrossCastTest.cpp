// A host reaches the switch to TLS by a cast from what it holds to another base of the same object,
// whose class it has never seen. The library shows neither its classes nor their type information,
// so the host's own copy of the interface's has to be recognised as the same.
#include "integration/support/Settings.h"
#include "integration/support/SharedLog.h"

#include "VexaSsl/IOtlsProvider.h"
#include "VexaSsl/VexaSsl.h"

#include <gtest/gtest.h>

#include <memory>
#include <typeinfo>

namespace VexaSsl::test {
namespace {

std::unique_ptr<ISocketStrategy> stackOf(ILog& log, const std::string& encryption) {
    return instantiateSocketStrategy(
        log, *Settings::plain().with("UseEncryption", encryption).named(L"Upgradable").load(log));
}

TEST(CrossCast, reachesTheSwitchOfTheSameObject) {
    SharedLog log;
    const auto stack = stackOf(log, "Opportunistically");
    auto* otls = dynamic_cast<IOtlsProvider*>(stack.get());
    ASSERT_NE(otls, nullptr);
    EXPECT_NE(static_cast<void*>(otls), static_cast<void*>(stack.get())) << "it is another base";
    EXPECT_EQ(dynamic_cast<void*>(otls), dynamic_cast<void*>(stack.get()));
    EXPECT_EQ(dynamic_cast<ISocketStrategy*>(otls), stack.get()) << "and back";
    const ISocketStrategy& object = *stack;
    EXPECT_EQ(typeid(*otls), typeid(object));
}

TEST(CrossCast, theSwitchThatItReachesIsTheLibrarys) {
    SharedLog log;
    const auto stack = stackOf(log, "Opportunistically");
    auto& otls = dynamic_cast<IOtlsProvider&>(*stack);
    EXPECT_EQ(otls.startOtls(), SOCKET_ERROR);
    EXPECT_EQ(log.count(Severity::Error,
                        L"No remote hostname has been supplied. Server authentication will be "
                        L"impossible. Aborting connection attempt"),
              1U);
}

TEST(CrossCast, theObjectCanBeDestroyedFromThere) {
    SharedLog log;
    auto stack = stackOf(log, "Opportunistically");
    const std::unique_ptr<IOtlsProvider> otls(dynamic_cast<IOtlsProvider*>(stack.release()));
    EXPECT_NE(otls, nullptr);
}

TEST(CrossCast, findsNothingInAStackThatCannotSwitch) {
    SharedLog log;
    for (const char* encryption : {"False", "True"}) {
        EXPECT_EQ(dynamic_cast<IOtlsProvider*>(stackOf(log, encryption).get()), nullptr)
            << encryption;
    }
}

} // namespace
} // namespace VexaSsl::test
