// Compares the matchers with std::regex, on every short line of the relevant characters and on
// longer random lines with a fixed seed. U+2028 and U+2029 are tested separately: libstdc++ lets a
// dot match them, contrary to the grammar.
#include "config/LineExpressions.h"

#include "config/NameList.h"
#include "fakes/SmallStack.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <regex>

namespace VexaSsl::test {
namespace {

using LineExpressions::findKeyAndValue;
using LineExpressions::findSectionName;
using LineExpressions::isEmpty;
using LineExpressions::isSectionHeader;

using Check = std::function<void(const std::wstring&)>;

void checkAllLines(const std::wstring& alphabet, std::size_t longest, const Check& check) {
    std::vector<std::wstring> lines = {L""};
    for (std::size_t length = 0; length <= longest; ++length) {
        std::vector<std::wstring> longer;
        for (const std::wstring& line : lines) {
            check(line);
            for (const wchar_t unit : alphabet) {
                longer.push_back(line + unit);
            }
        }
        lines = std::move(longer);
    }
}

void checkDrawnLines(const std::wstring& alphabet, const Check& check) {
    std::mt19937 draw(20240607);
    for (int count = 0; count < 4000; ++count) {
        std::wstring line(6 + draw() % 12, L' ');
        for (wchar_t& unit : line) {
            unit = alphabet[draw() % alphabet.size()];
        }
        check(line);
    }
}

void checkLines(const std::wstring& alphabet, const Check& check) {
    checkAllLines(alphabet, 5, check);
    checkDrawnLines(alphabet, check);
}

TEST(LineExpressions, sectionHeaderIsTheExpressionsWholeMatch) {
    const std::wregex expression(L"\\[(.+)\\]");
    checkLines(L"[]a=\n\r", [&expression](const std::wstring& line) {
        ASSERT_EQ(isSectionHeader(line), std::regex_match(line, expression))
            << testing::PrintToString(line);
    });
}

TEST(LineExpressions, sectionNameIsTheExpressionsFirstGroup) {
    const std::wregex expression(L"\\[(.+)\\]");
    checkLines(L"[]a=\n\r", [&expression](const std::wstring& line) {
        std::wsmatch match;
        const bool found = std::regex_search(line, match, expression);
        const auto name = findSectionName(line);
        ASSERT_EQ(name.has_value(), found) << testing::PrintToString(line);
        if (found) {
            ASSERT_EQ(std::wstring(*name), match.str(1)) << testing::PrintToString(line);
        }
    });
}

TEST(LineExpressions, keyAndValueAreTheExpressionsGroups) {
    const std::wregex expression(L"(.+)=(.+)");
    checkLines(L"=a[ \n\r", [&expression](const std::wstring& line) {
        std::wsmatch match;
        const bool found = std::regex_search(line, match, expression);
        const auto pair = findKeyAndValue(line);
        ASSERT_EQ(pair.has_value(), found) << testing::PrintToString(line);
        if (found) {
            ASSERT_EQ(std::wstring(pair->key), match.str(1)) << testing::PrintToString(line);
            ASSERT_EQ(std::wstring(pair->value), match.str(2)) << testing::PrintToString(line);
        }
    });
}

TEST(LineExpressions, blankIsTheExpressionMatchedAndSearchedFor) {
    const std::wregex expression(L"$[\\s]*^");
    checkLines(L" \ta\n\r", [&expression](const std::wstring& line) {
        ASSERT_EQ(isEmpty(line), std::regex_match(line, expression))
            << testing::PrintToString(line);
        ASSERT_EQ(isEmpty(line), std::regex_search(line, expression))
            << testing::PrintToString(line);
    });
}

TEST(LineExpressions, separatorsOfUnicodeEndAMatchToo) {
    for (const std::wstring terminator : {L"\u2028", L"\u2029"}) {
        EXPECT_FALSE(isSectionHeader(L"[a" + terminator + L"b]"));
        EXPECT_EQ(findSectionName(L"[a" + terminator + L"[b]"), L"b");
        const std::wstring line = L"k=" + terminator + L"a=b";
        const auto pair = findKeyAndValue(line);
        ASSERT_TRUE(pair);
        EXPECT_EQ(pair->key, L"a");
        EXPECT_EQ(pair->value, L"b");
    }
}

TEST(LineExpressions, lineOf20000BracketsHoldsNoSection) {
    const std::wstring line(20000, L'[');
    runOnSmallStack([&line] {
        EXPECT_FALSE(isSectionHeader(line));
        EXPECT_FALSE(findSectionName(line));
    });
}

TEST(LineExpressions, headerOf20000UnitsNamesItsSection) {
    const std::wstring line = L"[" + std::wstring(19998, L'a') + L"]";
    runOnSmallStack([&line] {
        EXPECT_TRUE(isSectionHeader(line));
        EXPECT_EQ(findSectionName(line), std::wstring(19998, L'a'));
    });
}

TEST(LineExpressions, lineOf20000EqualsSignsIsKeyAndValue) {
    const std::wstring line(20000, L'=');
    runOnSmallStack([&line] {
        const auto pair = findKeyAndValue(line);
        ASSERT_TRUE(pair);
        EXPECT_EQ(pair->key.size(), 19998U);
        EXPECT_EQ(pair->value, L"=");
    });
}

TEST(LineExpressions, lineOf20000LineTerminatorsMatchesNothing) {
    const std::wstring line(20000, L'\r');
    runOnSmallStack([&line] {
        EXPECT_FALSE(isSectionHeader(line));
        EXPECT_FALSE(findSectionName(line));
        EXPECT_FALSE(findKeyAndValue(line));
        EXPECT_FALSE(isEmpty(line));
    });
}

TEST(NameList, namesAreTheFirstGroupsOfTheExpressionsSuccessiveMatches) {
    const std::wregex expression(L"(.+?)(,|$)");
    checkLines(L",ab\n\r", [&expression](const std::wstring& text) {
        std::vector<std::wstring> expected;
        for (std::wsregex_iterator match(text.begin(), text.end(), expression), end; match != end;
             ++match) {
            expected.push_back(match->str(1));
        }
        ASSERT_EQ(splitNameList(text), expected) << testing::PrintToString(text);
    });
}

TEST(NameList, nameIsNotTrimmed) {
    EXPECT_EQ(splitNameList(L"a, b"), (std::vector<std::wstring>{L"a", L" b"}));
}

TEST(NameList, secondOfTwoDelimitersBelongsToTheNextName) {
    EXPECT_EQ(splitNameList(L"a,,b"), (std::vector<std::wstring>{L"a", L",b"}));
}

TEST(NameList, delimiterAtTheEndAddsNothing) {
    EXPECT_EQ(splitNameList(L"a,"), std::vector<std::wstring>{L"a"});
}

TEST(NameList, delimiterAloneIsAName) {
    EXPECT_EQ(splitNameList(L","), std::vector<std::wstring>{L","});
}

TEST(NameList, emptyTextHasNoNames) {
    EXPECT_TRUE(splitNameList(L"").empty());
}

TEST(NameList, separatorsOfUnicodeRestartTheNames) {
    for (const std::wstring terminator : {L"\u2028", L"\u2029"}) {
        EXPECT_EQ(splitNameList(L"a,lost" + terminator + L"b"),
                  (std::vector<std::wstring>{L"a", L"b"}));
    }
}

TEST(NameList, nameOf20000UnitsIsTakenOnASmallStack) {
    runOnSmallStack([] {
        const std::wstring name(20000, L'a');
        EXPECT_EQ(splitNameList(name), std::vector<std::wstring>{name});
    });
}

TEST(NameList, millionDelimitersMakeHalfAMillionNames) {
    runOnSmallStack([] {
        const std::vector<std::wstring> names = splitNameList(std::wstring(1000000, L','));
        EXPECT_EQ(names, std::vector<std::wstring>(500000, L","));
    });
}

TEST(NameList, millionUnitsBeforeALineTerminatorAreLost) {
    runOnSmallStack([] {
        EXPECT_EQ(splitNameList(std::wstring(1000000, L'a') + L"\nb"),
                  std::vector<std::wstring>{L"b"});
    });
}

} // namespace
} // namespace VexaSsl::test
