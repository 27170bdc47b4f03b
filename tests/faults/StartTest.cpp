// The check for the security package, which a process makes once, is repeated if the call or an
// allocation failed. Each test runs in a separate process.
#include "faults/Failures.h"
#include "faults/Scenario.h"

#include "integration/support/LogMatchers.h"
#include "platform/contract/SecuritySupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace VexaSsl::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

const LogLine checking = debug(L"Checking for the presence of the Schannel Security Package");

// One attempt to build a stack.
class Start {
public:
    explicit Start(Watch::Plan plan)
        : watch(std::move(plan), [this] { return log.lines.size(); }),
          config(constructDefaultSslConfiguration(log, L"Faults")) {
        config->setValue(L"UseEncryption", L"True");
        log.lines.clear();
        try {
            const Watch::Scope scope(watch);
            stack = instantiateSocketStrategy(log, *config);
        } catch (const std::exception& exception) {
            thrown = exception.what();
        }
    }

    StepLog log;
    Watch watch;
    std::unique_ptr<IConfig> config;
    std::unique_ptr<ISocketStrategy> stack;
    std::string thrown;
};

void failTheCall() {
    const SeenCall call{.call = Call::EnumerateSecurityPackagesW};
    for (const Failure& failure : failuresOf(call)) {
        const Start start({.failingCalls = {{0, failure}}});
        EXPECT_EQ(start.thrown, std::to_string(failure.result));
        EXPECT_THAT(start.log.lines,
                    ElementsAre(checking, systemError(L"EnumerateSecurityPackages",
                                                      static_cast<DWORD>(failure.result))));
        EXPECT_THAT(start.watch.holdings, Each(0));
    }
    EXPECT_THAT(Start({}).log.lines, ElementsAre(checking));
    EXPECT_THAT(Start({}).log.lines, IsEmpty());
}

void failEachAllocation() {
    for (std::size_t position = 0; position < 1000; ++position) {
        const Start start({.failingAllocation = position});
        EXPECT_THAT(start.watch.holdings, Each(0)) << position;
        if (start.thrown.empty()) {
            // Positions after those of the start; at earlier ones the check was repeated.
            EXPECT_FALSE(start.watch.failedAllocation) << position;
            EXPECT_THAT(start.log.lines, ElementsAre(checking));
            return;
        }
        EXPECT_EQ(start.thrown, "std::bad_alloc") << position;
    }
    ADD_FAILURE() << "no start succeeds";
}

[[noreturn]] void exitAfter(void (*test)()) {
    test();
    std::exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST(Start, failedPackageCheckIsRepeated) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(exitAfter(failTheCall), testing::ExitedWithCode(0), "");
}

TEST(Start, packageCheckWithoutMemoryLeaksNothing) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(exitAfter(failEachAllocation), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace VexaSsl::test
