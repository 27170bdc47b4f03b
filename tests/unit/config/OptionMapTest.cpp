#include "config/OptionMap.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace VexaSsl::test {
namespace {

TEST(CaseInsensitiveHash, emptyKeyHashesToTheOffsetBasis) {
    EXPECT_EQ(CaseInsensitiveHash()(L""), 0xcbf29ce484222325U);
}

TEST(CaseInsensitiveHash, hashIsFnvOfTheFoldedBytesLowByteFirst) {
    std::uint64_t expected = 0xcbf29ce484222325;
    for (const wchar_t unit : std::wstring(L"a\u00FF\u0100\u0141")) {
        // The units after the first have no smaller form in the classic locale.
        for (std::size_t byte = 0; byte < sizeof(wchar_t); ++byte) {
            expected ^= (static_cast<std::uint64_t>(unit) >> (8 * byte)) & 0xFF;
            expected *= 0x100000001b3;
        }
    }
    EXPECT_EQ(CaseInsensitiveHash()(L"A\u00FF\u0100\u0141"), expected);
}

TEST(CaseInsensitiveHash, spellingsOfOneNameHaveOneHash) {
    EXPECT_EQ(CaseInsensitiveHash()(L"UseEncryption"), CaseInsensitiveHash()(L"USEENCRYPTION"));
}

TEST(CaseInsensitiveEqual, letterCaseDoesNotCount) {
    EXPECT_TRUE(CaseInsensitiveEqual()(L"UseEncryption", L"uSEeNCRYPTION"));
    EXPECT_TRUE(
        CaseInsensitiveEqual()(L"ABCDEFGHIJKLMNOPQRSTUVWXYZ", L"abcdefghijklmnopqrstuvwxyz"));
}

TEST(CaseInsensitiveEqual, lengthCounts) {
    EXPECT_FALSE(CaseInsensitiveEqual()(L"True", L"True "));
    EXPECT_FALSE(CaseInsensitiveEqual()(L"True ", L"True"));
}

TEST(CaseInsensitiveEqual, otherUnitsDiffer) {
    EXPECT_FALSE(CaseInsensitiveEqual()(L"True", L"Tru\u00EB"));
    EXPECT_FALSE(CaseInsensitiveEqual()(L"@", L"`"));
    EXPECT_FALSE(CaseInsensitiveEqual()(L"[", L"{"));
}

TEST(CaseInsensitiveEqual, emptyTextsAreEqual) {
    EXPECT_TRUE(CaseInsensitiveEqual()(L"", L""));
}

TEST(OptionMap, keyKeepsTheSpellingOfItsFirstInsertion) {
    OptionMap map;
    map[L"UseEncryption"] = L"False";
    map[L"USEENCRYPTION"] = L"True";
    ASSERT_EQ(map.size(), 1U);
    EXPECT_EQ(map.begin()->first, L"UseEncryption");
    EXPECT_EQ(map.begin()->second, L"True");
}

} // namespace
} // namespace VexaSsl::test
