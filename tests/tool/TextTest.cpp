#include "common/Text.h"

#include <gtest/gtest.h>

namespace VexaSsl::tool {
namespace {

TEST(Text, overlongAndSurrogateSpellingsAreNoUtf8) {
    for (const char* bytes :
         {"\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF", "\xED\xA0\x80",
          "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\x80", "\xBF", "\xC3",
          "\xE2\x82", "\xF0\x9F\x98", "\xC3("}) {
        EXPECT_FALSE(isUtf8(bytes));
    }
}

TEST(Text, boundariesOfEveryLengthAreUtf8) {
    for (const char* bytes :
         {"\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
          "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_TRUE(isUtf8(bytes));
        EXPECT_EQ(toUtf8(characters(std::string_view(bytes))), bytes);
    }
}

TEST(Text, everyWrongByteIsReplacedAndTheRestKept) {
    EXPECT_EQ(characters(std::string_view("a\xFF"
                                          "b\xE2\x82"
                                          "c")),
              U"a\uFFFDb\uFFFD\uFFFDc");
}

TEST(Text, printableTextHasNoControlCharactersButTabs) {
    EXPECT_EQ(printableText(std::string_view("a\x1B[31m\tb\n\x7F\xC2\x9B")), "a?[31m\tb???");
}

TEST(Text, printableTextNeverChangesDirection) {
    for (const char32_t point :
         {U'\u202A', U'\u202E', U'\u2066', U'\u2069', U'\u200E', U'\u200F', U'\u061C'}) {
        EXPECT_EQ(printableText(std::u32string{U'a', point, U'b'}), "a?b");
    }
    EXPECT_EQ(printableText(std::u32string(U"\u05D0\u2029\u200D")), "\u05D0\u2029\u200D");
}

TEST(Text, printableTextHasNoZeroCharacters) {
    EXPECT_EQ(printableText(std::wstring_view(L"a\0b\0", 4)), "ab");
}

TEST(Text, widenedBytesAreRestored) {
    EXPECT_EQ(charactersOfFileText(widenedBytes("M\xC3\xBCller")), U"M\u00FCller");
}

TEST(Text, fileTextThatIsNoUtf8IsUnchanged) {
    EXPECT_EQ(charactersOfFileText(widenedBytes("M\xFCller")), U"M\u00FCller");
    EXPECT_EQ(charactersOfFileText(L"\u20AC\u00C3\u00BC"), U"\u20AC\u00C3\u00BC");
}

TEST(Text, pathsAreTheirBytes) {
    EXPECT_EQ(pathText(std::filesystem::path("a/\xC3\xBC")), "a/\xC3\xBC");
}

// The second one is no UTF-8; such a file can be opened all the same.
TEST(Text, argumentsNamePathsByteForByte) {
    for (const char* text : {"a/\xC3\xBC \xE2\x82\xAC.ini", "a/\xFC.ini", ""}) {
        EXPECT_EQ(pathOfText(text).native(), text);
    }
}

TEST(Text, wordsForAShellAreQuotedOnlyWhereTheyMustBe) {
    EXPECT_EQ(shellWord("/etc/a-b_1.pem"), "/etc/a-b_1.pem");
    EXPECT_EQ(shellWord("two words"), "'two words'");
    EXPECT_EQ(shellWord("it's $HOME"), "'it'\\''s $HOME'");
    EXPECT_EQ(shellWord(""), "''");
}

} // namespace
} // namespace VexaSsl::tool
