// Wide text in files on a system whose paths are bytes and whose locale may be UTF-8.
#include "contract/base/TextFileFixture.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using TextFiles = TextFileTest;

std::string everyByte() {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

std::wstring everyUnitUpTo0xFF() {
    std::wstring units;
    for (int unit = 0; unit < 256; ++unit) {
        units += static_cast<wchar_t>(unit);
    }
    return units;
}

TEST_F(TextFiles, globalLocaleDeterminesTheConversion) {
    const GlobalLocale locale(std::locale("C.UTF-8"));
    EXPECT_TRUE(append(L"\u20AC\n"));
    EXPECT_EQ(bytes(), "\xE2\x82\xAC\n");
    EXPECT_EQ(lines(), Lines{L"\u20AC"});
}

TEST_F(TextFiles, pathReadFromFileKeepsItsBytes) {
    putBytes("/caf\xC3\xA9/\xFF\n");
    EXPECT_EQ(platform::pathFromFileText(lines().front()).native(), "/caf\xC3\xA9/\xFF");
}

TEST_F(TextFiles, pathReadFromFileInOtherLocaleKeepsItsBytes) {
    const GlobalLocale locale(std::locale("C.UTF-8"));
    putBytes("/caf\xC3\xA9\n");
    EXPECT_EQ(platform::pathFromFileText(lines().front()).native(), "/caf\xC3\xA9");
}

TEST(PathFromFileText, unitAbove0xFFIsUtf8) {
    EXPECT_EQ(platform::pathFromFileText(L"/\u20AC\U0001F512").native(),
              "/\xE2\x82\xAC\xF0\x9F\x94\x92");
}

TEST(PathFromFileText, invalidCodePointDoesNotThrow) {
    const std::wstring text{static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x7FFFFFFF)};
    EXPECT_EQ(platform::pathFromFileText(text).native(), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(PathToText, textNamesTheSamePath) {
    const std::filesystem::path path = "/caf\xC3\xA9/\xFF";
    EXPECT_EQ(platform::pathFromFileText(platform::pathToText(path)), path);
}

TEST(PathToText, textFitsLogInTheClassicLocale) {
    for (const wchar_t unit : platform::pathToText("/\xE2\x82\xAC")) {
        EXPECT_LE(unit, 0xFF);
    }
}

TEST(PathToText, otherLocaleDecodesThePath) {
    const GlobalLocale locale(std::locale("C.UTF-8"));
    EXPECT_EQ(platform::pathToText("/\xE2\x82\xAC"), L"/\u20AC");
    EXPECT_EQ(platform::pathToText("/\xFF"), L"/\xFF");
}

TEST_F(TextFiles, everyByteIsReadAsOneUnit) {
    putBytes(everyByte());
    std::wifstream stream;
    platform::openTextFile(stream, path());
    const std::wstring text{std::istreambuf_iterator<wchar_t>(stream), {}};
    EXPECT_EQ(text, everyUnitUpTo0xFF());
}

TEST_F(TextFiles, unitUpTo0xFFIsWrittenAsOneByte) {
    EXPECT_TRUE(append(everyUnitUpTo0xFF()));
    EXPECT_EQ(bytes(), everyByte());
}

} // namespace
} // namespace VexaSsl::test
