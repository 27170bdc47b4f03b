#include "config/LineChecker.h"

#include "fakes/CollectingLog.h"
#include "fakes/SmallStack.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using Lines = std::vector<LogLine>;

class LineCheckerTest : public testing::Test {
protected:
    CollectingLog log;
    LineChecker checker{log};
};

TEST_F(LineCheckerTest, lineOf20000UnitsIsNotTooLong) {
    EXPECT_FALSE(checker.isTooLong(std::wstring(20000, L'a')));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(LineCheckerTest, lineOf20001UnitsIsTooLongAndLoggedAtDebug) {
    const std::wstring line(20001, L'a');
    EXPECT_TRUE(checker.isTooLong(line));
    EXPECT_EQ(log.lines, (Lines{{Severity::Debug,
                                 L"Ignoring Configuration Store option because it's too long: [" +
                                     line + L"]"}}));
}

TEST_F(LineCheckerTest, lineWithADelimiterPassesSilently) {
    EXPECT_TRUE(checker.hasDelimiter(L"a=b"));
    EXPECT_TRUE(checker.hasDelimiter(L"="));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(LineCheckerTest, lineWithSeveralDelimitersPasses) {
    EXPECT_TRUE(checker.hasDelimiter(L"a=b=c"));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(LineCheckerTest, lineWithoutADelimiterIsLoggedAtDebug) {
    EXPECT_FALSE(checker.hasDelimiter(L"; comment"));
    EXPECT_EQ(log.lines,
              (Lines{{Severity::Debug, L"Ignoring Configuration Store option because there's no "
                                       L"delimiter: [; comment]"}}));
}

TEST_F(LineCheckerTest, delimiterWithAGroupIsTooManyDelimitersAndLoggedAtDebug) {
    const LineChecker grouping(log, L"(=)");
    EXPECT_FALSE(grouping.hasDelimiter(L"a=b"));
    EXPECT_EQ(log.lines, (Lines{{Severity::Debug,
                                 L"Ignoring Configuration Store option because there're too many "
                                 L"delimiters: [a=b]"}}));
}

TEST_F(LineCheckerTest, delimiterIsUsedAsAnExpression) {
    const LineChecker checkerOfDigits(log, L"[0-9]");
    EXPECT_TRUE(checkerOfDigits.hasDelimiter(L"a7b"));
    EXPECT_FALSE(checkerOfDigits.hasDelimiter(L"a=b"));
}

TEST_F(LineCheckerTest, delimiterAtTheEndOf20000UnitsIsFoundOnASmallStack) {
    const std::wstring line = std::wstring(19999, L'a') + L"=";
    runOnSmallStack([this, &line] { EXPECT_TRUE(checker.hasDelimiter(line)); });
}

TEST_F(LineCheckerTest, missingDelimiterIn20000UnitsIsFoundOnASmallStack) {
    const std::wstring line(20000, L'[');
    runOnSmallStack([this, &line] { EXPECT_FALSE(checker.hasDelimiter(line)); });
}

} // namespace
} // namespace VexaSsl::test
