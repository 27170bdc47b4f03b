// Conversions between wide text and code pages.
#include "contract/support/ContractTest.h"
#include "platform/contract/WindowsBase.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <string>

namespace VexaSsl::test {
namespace {

constexpr DWORD invalidParameter = 87;
constexpr DWORD libraryFlags = WC_NO_BEST_FIT_CHARS | WC_COMPOSITECHECK | WC_DEFAULTCHAR;

std::wstring widen(const std::string& text, UINT codePage = CP_UTF8) {
    wchar_t buffer[64];
    const int written = platform::MultiByteToWideChar(codePage, 0, text.data(),
                                                      static_cast<int>(text.size()), buffer, 64);
    return {buffer, static_cast<std::size_t>(written)};
}

std::string narrow(const std::wstring& text, UINT codePage = CP_ACP) {
    char buffer[64];
    const int written =
        platform::WideCharToMultiByte(codePage, libraryFlags, text.data(),
                                      static_cast<int>(text.size()), buffer, 64, nullptr, nullptr);
    return {buffer, static_cast<std::size_t>(written)};
}

using MultiByteToWideChar = ContractTest;
using WideCharToMultiByte = ContractTest;

TEST_F(MultiByteToWideChar, utf8SequencesBecomeTheirCodePoints) {
    EXPECT_EQ(widen("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\x92z"), L"a\u00E9\u20AC\U0001F512z");
}

TEST_F(MultiByteToWideChar, firstAndLastCodePointsOfEachLengthAreDecoded) {
    EXPECT_EQ(widen("\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"),
              L"\x7F\x80\u07FF\u0800\uFFFF\U00010000\U0010FFFF");
}

TEST_F(MultiByteToWideChar, invalidBytesBecomeTheReplacementCharacter) {
    EXPECT_EQ(widen("a\xFFz"), L"a\uFFFDz");
    EXPECT_EQ(widen("a\xC3"), L"a\uFFFD");
    EXPECT_EQ(widen("a\xE2\x82z"), L"a\uFFFDz");
    EXPECT_EQ(widen("\x80"), L"\uFFFD");
}

TEST_F(MultiByteToWideChar, overlongFormsSurrogatesAndTooLargeNumbersAreInvalid) {
    for (const char* bytes : {"\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
        const std::wstring text = widen(bytes);
        EXPECT_FALSE(text.empty());
        EXPECT_EQ(text.find_first_not_of(L'\uFFFD'), std::wstring::npos) << text;
    }
}

TEST_F(MultiByteToWideChar, unitsNeverOutnumberBytes) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const std::string bytes{static_cast<char>(first), static_cast<char>(second)};
            EXPECT_LE(widen(bytes).size(), 2U);
        }
    }
}

TEST_F(MultiByteToWideChar, invalidBytesAreRefusedWithTheFlag) {
    wchar_t buffer[8];
    constexpr DWORD refuseInvalid = 8;
    EXPECT_EQ(platform::MultiByteToWideChar(CP_UTF8, refuseInvalid, "a\xFF", 2, buffer, 8), 0);
    EXPECT_EQ(platform::GetLastError(), ERROR_NO_UNICODE_TRANSLATION);
}

TEST_F(MultiByteToWideChar, zeroCapacityGivesTheUnitsNeeded) {
    EXPECT_EQ(platform::MultiByteToWideChar(CP_UTF8, 0, "\xC3\xA9x", 3, nullptr, 0), 2);
}

TEST_F(MultiByteToWideChar, lengthMinusOneCountsTheZero) {
    wchar_t buffer[8];
    EXPECT_EQ(platform::MultiByteToWideChar(CP_UTF8, 0, "ab", -1, buffer, 8), 3);
    EXPECT_EQ(std::wcscmp(buffer, L"ab"), 0);
}

TEST_F(MultiByteToWideChar, explicitLengthAddsNoZero) {
    wchar_t buffer[] = L"xxxx";
    EXPECT_EQ(platform::MultiByteToWideChar(CP_UTF8, 0, "ab", 2, buffer, 4), 2);
    EXPECT_EQ(std::wcscmp(buffer, L"abxx"), 0);
}

TEST_F(MultiByteToWideChar, tooSmallBufferGivesZero) {
    wchar_t buffer[] = L"xxx";
    EXPECT_EQ(platform::MultiByteToWideChar(CP_UTF8, 0, "abc", 3, buffer, 2), 0);
    EXPECT_EQ(platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(buffer[2], L'x');
}

TEST_F(MultiByteToWideChar, zeroLengthIsInvalidParameter) {
    wchar_t buffer[8];
    EXPECT_EQ(platform::MultiByteToWideChar(CP_UTF8, 0, "", 0, buffer, 8), 0);
    EXPECT_EQ(platform::GetLastError(), invalidParameter);
}

TEST_F(MultiByteToWideChar, unknownCodePageIsInvalidParameter) {
    wchar_t buffer[8];
    constexpr UINT unknownCodePage = 12345;
    EXPECT_EQ(platform::MultiByteToWideChar(unknownCodePage, 0, "a", 1, buffer, 8), 0);
    EXPECT_EQ(platform::GetLastError(), invalidParameter);
}

TEST_F(WideCharToMultiByte, ansiIsWindows1252) {
    EXPECT_EQ(narrow(L"a\u00E9\u20AC\u2019\u0178"), "a\xE9\x80\x92\x9F");
}

TEST_F(WideCharToMultiByte, everyAnsiByteSurvivesTheRoundTrip) {
    for (int byte = 1; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        EXPECT_EQ(narrow(widen(text, CP_ACP)), text) << byte;
    }
}

TEST_F(WideCharToMultiByte, unmappableUnitBecomesQuestionMark) {
    EXPECT_EQ(narrow(L"a\u4E00z"), "a?z");
    EXPECT_EQ(narrow(L"\u0100"), "?"); // no best fit: not "A"
    EXPECT_EQ(narrow(L"\u0080"), "?");
}

TEST_F(WideCharToMultiByte, givenDefaultCharacterIsUsedAndReported) {
    char buffer[8] = {};
    BOOL used = FALSE;
    EXPECT_EQ(platform::WideCharToMultiByte(CP_ACP, 0, L"a\u4E00", 2, buffer, 8, "#", &used), 2);
    EXPECT_EQ(std::string(buffer), "a#");
    EXPECT_TRUE(used);
    platform::WideCharToMultiByte(CP_ACP, 0, L"a", 1, buffer, 8, "#", &used);
    EXPECT_FALSE(used);
}

TEST_F(WideCharToMultiByte, utf8EncodesEveryCodePoint) {
    EXPECT_EQ(narrow(L"a\u00E9\u20AC\U0001F512", CP_UTF8), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\x92");
}

TEST_F(WideCharToMultiByte, utf8EncodesLoneSurrogateAsReplacementCharacter) {
    EXPECT_EQ(narrow({static_cast<wchar_t>(0xD800), L'x'}, CP_UTF8), "\xEF\xBF\xBDx");
}

TEST_F(WideCharToMultiByte, utf8RefusesDefaultCharacter) {
    char buffer[8];
    EXPECT_EQ(platform::WideCharToMultiByte(CP_UTF8, 0, L"a", 1, buffer, 8, "#", nullptr), 0);
    EXPECT_EQ(platform::GetLastError(), invalidParameter);
}

TEST_F(WideCharToMultiByte, tooSmallBufferGivesZero) {
    char buffer[] = "xxx";
    EXPECT_EQ(platform::WideCharToMultiByte(CP_ACP, 0, L"abc", 3, buffer, 2, nullptr, nullptr), 0);
    EXPECT_EQ(platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(buffer[2], 'x');
}

TEST_F(WideCharToMultiByte, zeroCapacityGivesTheBytesNeeded) {
    EXPECT_EQ(
        platform::WideCharToMultiByte(CP_UTF8, 0, L"\u20ACx", 2, nullptr, 0, nullptr, nullptr), 4);
}

} // namespace
} // namespace VexaSsl::test
