#include "contract/support/ContractTest.h"

#include <string_view>

namespace VexaSsl::test {

bool SkippedTest::covers(const std::string& name) const {
    std::string_view pattern = test;
    if (pattern.ends_with('*')) {
        pattern.remove_suffix(1);
        return name.starts_with(pattern);
    }
    return name == pattern;
}

std::string nameOf(const ::testing::TestInfo& test) {
    return std::string(test.test_suite_name()) + '.' + test.name();
}

void ContractTest::SetUp() {
    const std::string name = nameOf(*::testing::UnitTest::GetInstance()->current_test_info());
    for (const SkippedTest& skipped : skippedTests()) {
        if (skipped.covers(name)) {
            GTEST_SKIP() << skipped.reason;
        }
    }
}

} // namespace VexaSsl::test
