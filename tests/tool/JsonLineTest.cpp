#include "common/JsonLine.h"

#include <gtest/gtest.h>

namespace VexaSsl::tool {
namespace {

std::string jsonOf(std::wstring_view text) {
    const std::string line = JsonLine().text("t", text).str();
    return line.substr(5, line.size() - 6);
}

TEST(JsonLine, withoutFieldsIsAnEmptyObject) {
    EXPECT_EQ(JsonLine().str(), "{}");
}

TEST(JsonLine, fieldsKeepTheirOrder) {
    EXPECT_EQ(JsonLine()
                  .text("b", "x")
                  .number("a", -12)
                  .boolean("yes", true)
                  .boolean("no", false)
                  .nothing("none")
                  .str(),
              R"({"b":"x","a":-12,"yes":true,"no":false,"none":null})");
}

TEST(JsonLine, objectsAndListsNest) {
    const std::vector<JsonLine> objects = {JsonLine().number("n", 1), JsonLine()};
    EXPECT_EQ(JsonLine()
                  .object("o", JsonLine().text("t", "x"))
                  .list("l", objects)
                  .list("w", std::vector<std::wstring>{L"a", L"b"})
                  .list("e", std::vector<std::string>{})
                  .str(),
              R"({"o":{"t":"x"},"l":[{"n":1},{}],"w":["a","b"],"e":[]})");
}

TEST(JsonLine, quotesAndBackslashesAreEscaped) {
    EXPECT_EQ(jsonOf(L"a\"b\\c/d"), R"("a\"b\\c/d")");
}

TEST(JsonLine, controlCharactersAreEscaped) {
    EXPECT_EQ(jsonOf(std::wstring(L"\0\x01\b\t\n\f\r\x1F\x7F\x9B", 10)),
              R"("\u0000\u0001\b\t\n\f\r\u001f\u007f\u009b")");
}

TEST(JsonLine, lineSeparatorsOfOtherLanguagesAreEscaped) {
    EXPECT_EQ(jsonOf(L"\u2028\u2029"), R"("\u2028\u2029")");
}

TEST(JsonLine, charactersBeyondAsciiAreUtf8) {
    EXPECT_EQ(jsonOf(L"\u00E9\u20AC\U0001F600"), "\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"");
}

TEST(JsonLine, surrogatePairIsOneCharacterAndHalfAPairIsNone) {
    const wchar_t pair[] = {wchar_t{0xD83D}, wchar_t{0xDE00}};
    EXPECT_EQ(jsonOf({pair, 2}), "\"\xF0\x9F\x98\x80\"");
    EXPECT_EQ(jsonOf({pair, 1}), "\"\xEF\xBF\xBD\"");
    EXPECT_EQ(jsonOf({pair + 1, 1}), "\"\xEF\xBF\xBD\"");
}

TEST(JsonLine, bytesThatAreNoUtf8AreReplaced) {
    EXPECT_EQ(JsonLine().text("t", std::string_view("a\xFF\xC3")).str(),
              "{\"t\":\"a\xEF\xBF\xBD\xEF\xBF\xBD\"}");
}

TEST(JsonLine, namesAreEscapedToo) {
    EXPECT_EQ(JsonLine().number("a\"\n", 1).str(), R"({"a\"\n":1})");
}

} // namespace
} // namespace VexaSsl::tool
