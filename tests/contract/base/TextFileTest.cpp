// Wide text in files.
#include "contract/base/TextFileFixture.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using PathToText = ContractTest;
using TextFiles = TextFileTest;

// Every byte except those that text mode treats as line ends or as the end of the file.
std::string plainBytes() {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        if (byte != '\n' && byte != '\r' && byte != 0x1A) {
            bytes += static_cast<char>(byte);
        }
    }
    return bytes;
}

std::wstring plainUnits() {
    std::wstring units;
    for (const char byte : plainBytes()) {
        units += static_cast<wchar_t>(static_cast<unsigned char>(byte));
    }
    return units;
}

TEST_F(TextFiles, everyByteIsReadAsOneUnit) {
    putBytes(plainBytes());
    EXPECT_EQ(lines(), Lines{plainUnits()});
}

TEST_F(TextFiles, unitUpTo0xFFIsWrittenAsOneByte) {
    EXPECT_TRUE(append(plainUnits()));
    EXPECT_EQ(bytes(), plainBytes());
}

TEST_F(TextFiles, unitAbove0xFFFailsTheWrite) {
    EXPECT_FALSE(append(L"a\u0100"));
    EXPECT_FALSE(append(L"\u20AC"));
}

TEST_F(TextFiles, linesEndWithLineFeedOrBoth) {
    putBytes("one\ntwo\r\nthree");
    EXPECT_EQ(lines(), (Lines{L"one", L"two", L"three"}));
}

TEST_F(TextFiles, lineEndAtEndOfFileAddsNoLine) {
    putBytes("one\r\n");
    EXPECT_EQ(lines(), Lines{L"one"});
}

TEST_F(TextFiles, emptyLinesAreLines) {
    putBytes("\r\n\none\n\n");
    EXPECT_EQ(lines(), (Lines{L"", L"", L"one", L""}));
}

TEST_F(TextFiles, carriageReturnWithoutLineFeedStays) {
    putBytes("o\rne\r\r\ntwo\r");
    EXPECT_EQ(lines(), (Lines{L"o\rne\r", L"two\r"}));
}

TEST_F(TextFiles, controlZIsOrdinaryOrTheEndOfTheFile) {
    putBytes("one\ntw\x1Ao\nthree");
    EXPECT_EQ(lines(), controlZEndsTextFiles ? (Lines{L"one", L"tw"})
                                             : (Lines{L"one", L"tw\x1Ao", L"three"}));
}

TEST_F(TextFiles, emptyFileHasNoLine) {
    putBytes("");
    EXPECT_EQ(lines(), Lines{});
}

TEST_F(TextFiles, byteOrderMarkIsThreeUnits) {
    putBytes("\xEF\xBB\xBFx\n");
    EXPECT_EQ(lines(), Lines{L"\xEF\xBB\xBFx"});
}

TEST_F(TextFiles, longFileIsReadWhole) {
    std::string content;
    for (int i = 0; i < 20'000; ++i) {
        content += "\xC3\xA9line " + std::to_string(i) + "\r\n";
    }
    putBytes(content);
    const Lines all = lines();
    ASSERT_EQ(all.size(), 20'000U);
    EXPECT_EQ(all.back(), L"\xC3\xA9line 19999");
}

TEST_F(TextFiles, appendingKeepsTheContent) {
    putBytes("one\n");
    EXPECT_TRUE(append(L"two\n"));
    EXPECT_EQ(lines(), (Lines{L"one", L"two"}));
}

TEST_F(TextFiles, twoWritersMayHaveTheFileOpen) {
    std::wfstream first;
    std::wfstream second;
    platform::openTextFile(first, path(), std::ios::out | std::ios::app);
    platform::openTextFile(second, path(), std::ios::out | std::ios::app);
    first << L"one\n" << std::flush;
    second << L"two\n" << std::flush;
    first << L"three\n" << std::flush;
    EXPECT_EQ(lines(), (Lines{L"one", L"two", L"three"}));
}

TEST_F(TextFiles, openingMissingFileFails) {
    std::wifstream stream;
    platform::openTextFile(stream, path());
    EXPECT_TRUE(stream.fail());
}

TEST_F(TextFiles, openingFolderFails) {
    std::wifstream reading;
    platform::openTextFile(reading, folder);
    EXPECT_TRUE(reading.fail());
    EXPECT_FALSE(reading.is_open());
    std::wfstream writing;
    platform::openTextFile(writing, folder, std::ios::out | std::ios::app);
    EXPECT_TRUE(writing.fail());
}

class Numbers : public std::numpunct<wchar_t> {
    wchar_t do_decimal_point() const override { return L','; }
};

TEST_F(TextFiles, globalLocaleOfNumbersKeepsTheBytes) {
    const GlobalLocale locale(std::locale(std::locale::classic(), new Numbers));
    putBytes("\xC3\xA9\n");
    EXPECT_EQ(lines(), Lines{L"\xC3\xA9"});
}

TEST_F(PathToText, textNamesTheSamePath) {
    const std::filesystem::path path = "a folder/and its file.txt";
    EXPECT_EQ(platform::pathFromFileText(platform::pathToText(path)), path);
}

} // namespace
} // namespace VexaSsl::test
