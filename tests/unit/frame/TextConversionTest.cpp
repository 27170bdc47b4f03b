#include "VexaSsl/TextConversion.h"

#include "fakes/ScriptedPlatform.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

class TextConversion : public testing::Test {
protected:
    ScriptedPlatform platform;
};

TEST_F(TextConversion, wideResultKeepsTheByteCountOfTheInput) {
    platform.MultiByteToWideChar = [](UINT, DWORD, const char* text, int length, wchar_t* buffer,
                                      int) {
        EXPECT_EQ(std::string(text, static_cast<std::size_t>(length)), "\xC3\xA9x");
        buffer[0] = L'\u00E9';
        buffer[1] = L'x';
        return 2;
    };
    const std::wstring expected(L"\u00E9x\0", 3);
    EXPECT_EQ(convertNarrowToWide("\xC3\xA9x"), expected);
}

TEST_F(TextConversion, wideningUsesUtf8WithoutFlags) {
    int calls = 0;
    platform.MultiByteToWideChar = [&calls](UINT codePage, DWORD flags, const char*, int length,
                                            wchar_t* buffer, int capacity) {
        ++calls;
        EXPECT_EQ(codePage, 65001U);
        EXPECT_EQ(flags, 0U);
        EXPECT_EQ(length, 4);
        EXPECT_EQ(capacity, 4);
        EXPECT_EQ(std::wstring(buffer, 4), std::wstring(4, L'\0'));
        return 4;
    };
    EXPECT_EQ(convertNarrowToWide("text").size(), 4U);
    EXPECT_EQ(calls, 1);
}

TEST_F(TextConversion, wideningOfAnEmptyTextIsEmpty) {
    EXPECT_EQ(convertNarrowToWide(""), L"");
}

TEST_F(TextConversion, failedWideningIsEmpty) {
    platform.MultiByteToWideChar = [](UINT, DWORD, const char*, int, wchar_t*, int) { return 0; };
    EXPECT_EQ(convertNarrowToWide("text"), L"");
}

TEST_F(TextConversion, zeroInsideTheNarrowTextIsKept) {
    EXPECT_EQ(convertNarrowToWide(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
}

TEST_F(TextConversion, narrowingUsesTheAnsiCodePageWithTheDefaultCharacter) {
    int calls = 0;
    platform.WideCharToMultiByte = [&calls](UINT codePage, DWORD flags, const wchar_t* text,
                                            int length, char* buffer, int capacity,
                                            const char* defaultCharacter, BOOL* used) {
        ++calls;
        EXPECT_EQ(codePage, 0U);
        EXPECT_EQ(flags, 0x640U);
        EXPECT_EQ(std::wstring(text, static_cast<std::size_t>(length)), L"text");
        EXPECT_EQ(capacity, 4);
        EXPECT_EQ(std::string(buffer, 4), std::string(4, '\0'));
        EXPECT_EQ(defaultCharacter, nullptr);
        EXPECT_EQ(used, nullptr);
        return 4;
    };
    EXPECT_EQ(convertWideToNarrow(L"text").size(), 4U);
    EXPECT_EQ(calls, 1);
}

TEST_F(TextConversion, unitsThatDoNotFitTheCodePageComeBackAsTheDefaultCharacter) {
    platform.WideCharToMultiByte = [](UINT, DWORD flags, const wchar_t* text, int length,
                                      char* buffer, int, const char*, BOOL*) {
        EXPECT_NE(flags & WC_DEFAULTCHAR, 0U);
        for (int i = 0; i < length; ++i) {
            buffer[i] = text[i] < 0x80 ? static_cast<char>(text[i]) : '?';
        }
        return length;
    };
    EXPECT_EQ(convertWideToNarrow(L"a\u4E2D\u6587"), "a??");
}

TEST_F(TextConversion, narrowResultIsNotCut) {
    platform.WideCharToMultiByte = [](UINT, DWORD, const wchar_t*, int, char* buffer, int,
                                      const char*, BOOL*) {
        buffer[0] = 'a';
        return 1;
    };
    EXPECT_EQ(convertWideToNarrow(L"abc"), std::string("a\0\0", 3));
}

TEST_F(TextConversion, narrowTextThatNeedsMoreBytesThanUnitsIsEmpty) {
    platform.WideCharToMultiByte = [](UINT, DWORD, const wchar_t*, int, char*, int, const char*,
                                      BOOL*) { return 0; };
    EXPECT_EQ(convertWideToNarrow(L"\u4E2D"), "");
}

TEST_F(TextConversion, narrowingOfAnEmptyTextIsEmpty) {
    platform.WideCharToMultiByte = [](UINT, DWORD, const wchar_t*, int length, char*, int capacity,
                                      const char*, BOOL*) {
        EXPECT_EQ(length, 0);
        EXPECT_EQ(capacity, 0);
        return 0;
    };
    EXPECT_EQ(convertWideToNarrow(L""), "");
}

} // namespace
} // namespace VexaSsl::test
