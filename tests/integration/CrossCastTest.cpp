// A host casts the strategy to IOtlsProvider, another base of an object whose class it doesn't
// know. The library exports no type information, so that of the host's copy of the interface must
// compare equal.
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

TEST(CrossCast, castFindsTheInterfaceOfTheSameObject) {
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

TEST(CrossCast, castReachesTheLibrarysImplementation) {
    SharedLog log;
    const auto stack = stackOf(log, "Opportunistically");
    auto& otls = dynamic_cast<IOtlsProvider&>(*stack);
    EXPECT_EQ(otls.startOtls(), SOCKET_ERROR);
    EXPECT_EQ(log.count(Severity::Error,
                        L"No remote hostname has been supplied. Server authentication will be "
                        L"impossible. Aborting connection attempt"),
              1U);
}

TEST(CrossCast, objectCanBeDestroyedThroughTheInterface) {
    SharedLog log;
    auto stack = stackOf(log, "Opportunistically");
    const std::unique_ptr<IOtlsProvider> otls(dynamic_cast<IOtlsProvider*>(stack.release()));
    EXPECT_NE(otls, nullptr);
}

TEST(CrossCast, castOfAStackThatCannotSwitchIsNull) {
    SharedLog log;
    for (const char* encryption : {"False", "True"}) {
        EXPECT_EQ(dynamic_cast<IOtlsProvider*>(stackOf(log, encryption).get()), nullptr)
            << encryption;
    }
}

} // namespace
} // namespace VexaSsl::test
