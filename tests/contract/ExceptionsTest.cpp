// The table of what this system can't show doesn't outlive the tests that it names.
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

TEST(Exceptions, eachNamesATestOfTheSuite) {
    const std::vector<std::string> names = namesOfAllTests();
    ASSERT_FALSE(names.empty());
    for (const Exception& exception : exceptionsOfThisSystem()) {
        EXPECT_TRUE(std::any_of(names.begin(), names.end(), [&exception](const std::string& name) {
            return exception.covers(name);
        })) << exception.test;
        EXPECT_NE(std::string(exception.reason), "") << exception.test;
    }
}

} // namespace VexaSsl::test
