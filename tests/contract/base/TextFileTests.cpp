// Wide text in files.
#include "platform/TextFiles.h"

#include <gtest/gtest.h>

#include <stdlib.h>

#include <iterator>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace VexaSsl::testing {
namespace {

using Lines = std::vector<std::wstring>;

// Another global locale for the length of a test.
class GlobalLocale {
public:
    explicit GlobalLocale(const std::locale& locale) : former(std::locale::global(locale)) {}
    ~GlobalLocale() { std::locale::global(former); }
    GlobalLocale(const GlobalLocale&) = delete;
    GlobalLocale& operator=(const GlobalLocale&) = delete;

private:
    const std::locale former;
};

class TextFiles : public ::testing::Test {
protected:
    TextFiles() {
        if (!mkdtemp(folder.data()))
            throw std::runtime_error("can't make a folder for the test");
    }
    ~TextFiles() override { std::filesystem::remove_all(folder); }

    std::filesystem::path path() const { return std::filesystem::path(folder) / "text"; }
    void putBytes(const std::string& bytes) const {
        std::ofstream(path(), std::ios::binary) << bytes;
    }
    std::string bytes() const {
        std::ifstream file(path(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    Lines lines() const {
        std::wifstream stream;
        platform::openTextFile(stream, path());
        EXPECT_TRUE(stream.good());
        Lines all;
        for (std::wstring line; platform::getTextLine(stream, line);)
            all.push_back(line);
        return all;
    }
    // Appends text. Result: whether the stream is still good after the flush.
    bool append(const std::wstring& text) const {
        std::wfstream stream;
        platform::openTextFile(stream, path(), std::ios::out | std::ios::app);
        stream << text << std::flush;
        return stream.good();
    }

    std::string folder = std::filesystem::temp_directory_path() / "text-files-XXXXXX";
};

std::wstring everyByteWide() {
    std::wstring text;
    for (int unit = 0; unit < 256; ++unit)
        text += static_cast<wchar_t>(unit);
    return text;
}

TEST_F(TextFiles, everyByteIsOneUnitWhenRead) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    putBytes(all);
    std::wifstream stream;
    platform::openTextFile(stream, path());
    const std::wstring text{std::istreambuf_iterator<wchar_t>(stream), {}};
    EXPECT_EQ(text, everyByteWide());
}

TEST_F(TextFiles, everyUnitUpTo0xFFIsOneByteWhenWritten) {
    EXPECT_TRUE(append(everyByteWide()));
    std::string expected;
    for (int byte = 0; byte < 256; ++byte)
        expected += static_cast<char>(byte);
    EXPECT_EQ(bytes(), expected);
}

TEST_F(TextFiles, unitAbove0xFFFailsTheWrite) {
    EXPECT_FALSE(append(L"a\u0100"));
    EXPECT_FALSE(append(L"\u20AC"));
}

TEST_F(TextFiles, linesEndWithLineFeedOrBoth) {
    putBytes("one\ntwo\r\nthree");
    EXPECT_EQ(lines(), (Lines{L"one", L"two", L"three"}));
}

TEST_F(TextFiles, lastLineWithItsEndIsNotFollowedByAnEmptyOne) {
    putBytes("one\r\n");
    EXPECT_EQ(lines(), Lines{L"one"});
}

TEST_F(TextFiles, emptyLinesCount) {
    putBytes("\r\n\none\n\n");
    EXPECT_EQ(lines(), (Lines{L"", L"", L"one", L""}));
}

TEST_F(TextFiles, carriageReturnWithoutLineFeedStays) {
    putBytes("o\rne\r\r\ntwo\r");
    EXPECT_EQ(lines(), (Lines{L"o\rne\r", L"two\r"}));
}

TEST_F(TextFiles, emptyFileHasNoLine) {
    putBytes("");
    EXPECT_EQ(lines(), Lines{});
}

TEST_F(TextFiles, byteOrderMarkIsThreeUnits) {
    putBytes("\xEF\xBB\xBFx\n");
    EXPECT_EQ(lines(), Lines{L"\xEF\xBB\xBFx"});
}

TEST_F(TextFiles, longFileComesWhole) {
    std::string content;
    for (int i = 0; i < 20'000; ++i)
        content += "\xC3\xA9line " + std::to_string(i) + "\r\n";
    putBytes(content);
    const Lines all = lines();
    ASSERT_EQ(all.size(), 20'000U);
    EXPECT_EQ(all.back(), L"\xC3\xA9line 19999");
}

TEST_F(TextFiles, appendingKeepsWhatIsThere) {
    putBytes("one\n");
    EXPECT_TRUE(append(L"two\n"));
    EXPECT_EQ(bytes(), "one\ntwo\n");
}

TEST_F(TextFiles, twoWritersMayHaveTheFileOpen) {
    std::wfstream first;
    std::wfstream second;
    platform::openTextFile(first, path(), std::ios::out | std::ios::app);
    platform::openTextFile(second, path(), std::ios::out | std::ios::app);
    first << L"one\n" << std::flush;
    second << L"two\n" << std::flush;
    first << L"three\n" << std::flush;
    EXPECT_EQ(bytes(), "one\ntwo\nthree\n");
}

TEST_F(TextFiles, missingFileFails) {
    std::wifstream stream;
    platform::openTextFile(stream, path());
    EXPECT_TRUE(stream.fail());
}

TEST_F(TextFiles, folderFails) {
    std::wifstream reading;
    platform::openTextFile(reading, folder);
    EXPECT_TRUE(reading.fail());
    EXPECT_FALSE(reading.is_open());
    std::wfstream writing;
    platform::openTextFile(writing, folder, std::ios::out | std::ios::app);
    EXPECT_TRUE(writing.fail());
}

TEST_F(TextFiles, anotherGlobalLocaleConvertsInItsOwnWay) {
    const GlobalLocale locale(std::locale("C.UTF-8"));
    EXPECT_TRUE(append(L"\u20AC\n"));
    EXPECT_EQ(bytes(), "\xE2\x82\xAC\n");
    EXPECT_EQ(lines(), Lines{L"\u20AC"});
}

class Numbers : public std::numpunct<wchar_t> {
    wchar_t do_decimal_point() const override { return L','; }
};

TEST_F(TextFiles, globalLocaleThatOnlyWritesNumbersInItsWayKeepsTheBytes) {
    const GlobalLocale locale(std::locale(std::locale::classic(), new Numbers));
    putBytes("\xC3\xA9\n");
    EXPECT_EQ(lines(), Lines{L"\xC3\xA9"});
}

TEST_F(TextFiles, pathOutOfAFileOpensTheFileOfThoseBytes) {
    putBytes("/caf\xC3\xA9/\xFF\n");
    EXPECT_EQ(platform::pathFromFileText(lines().front()).native(), "/caf\xC3\xA9/\xFF");
}

TEST_F(TextFiles, pathOutOfAFileInAnotherLocaleOpensTheFileOfThoseBytes) {
    const GlobalLocale locale(std::locale("C.UTF-8"));
    putBytes("/caf\xC3\xA9\n");
    EXPECT_EQ(platform::pathFromFileText(lines().front()).native(), "/caf\xC3\xA9");
}

TEST(PathFromFileText, unitAbove0xFFIsUtf8) {
    EXPECT_EQ(platform::pathFromFileText(L"/\u20AC\U0001F512").native(),
              "/\xE2\x82\xAC\xF0\x9F\x94\x92");
}

TEST(PathFromFileText, whatIsNoCodePointThrowsNothing) {
    const std::wstring text{static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x7FFFFFFF)};
    EXPECT_EQ(platform::pathFromFileText(text).native(), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(PathToText, isTheTextThatNamesThePath) {
    const std::filesystem::path path = "/caf\xC3\xA9/\xFF";
    EXPECT_EQ(platform::pathFromFileText(platform::pathToText(path)), path);
}

TEST(PathToText, canBeWrittenToALogInTheClassicLocale) {
    for (const wchar_t unit : platform::pathToText("/\xE2\x82\xAC"))
        EXPECT_LE(unit, 0xFF);
}

TEST(PathToText, isDecodedInAnotherLocale) {
    const GlobalLocale locale(std::locale("C.UTF-8"));
    EXPECT_EQ(platform::pathToText("/\xE2\x82\xAC"), L"/\u20AC");
    EXPECT_EQ(platform::pathToText("/\xFF"), L"/\xFF");
}

} // namespace
} // namespace VexaSsl::testing
