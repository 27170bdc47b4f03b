// Every entry of the skip list names tests that exist.
#include "contract/support/ContractTest.h"

#include <algorithm>

namespace VexaSsl::test {
namespace {

std::vector<std::string> namesOfAllTests() {
    std::vector<std::string> names;
    const ::testing::UnitTest& all = *::testing::UnitTest::GetInstance();
    for (int i = 0; i < all.total_test_suite_count(); ++i) {
        const ::testing::TestSuite& suite = *all.GetTestSuite(i);
        for (int j = 0; j < suite.total_test_count(); ++j) {
            names.push_back(nameOf(*suite.GetTestInfo(j)));
        }
    }
    return names;
}

} // namespace

TEST(SkippedTests, everyEntryNamesExistingTests) {
    const std::vector<std::string> names = namesOfAllTests();
    ASSERT_FALSE(names.empty());
    for (const SkippedTest& skipped : skippedTests()) {
        EXPECT_TRUE(std::any_of(names.begin(), names.end(), [&skipped](const std::string& name) {
            return skipped.covers(name);
        })) << skipped.test;
        EXPECT_NE(std::string(skipped.reason), "") << skipped.test;
    }
}

} // namespace VexaSsl::test
