#include "frame/ErrorText.h"

#include "fakes/CollectingLog.h"
#include "fakes/ScriptedPlatform.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace VexaSsl::test {
namespace {

class ErrorText : public testing::Test {
protected:
    ScriptedPlatform platform;
    CollectingLog log;
};

TEST_F(ErrorText, systemTextIsRequestedInOneLineAndAnAllocatedBuffer) {
    int calls = 0;
    auto standIn = platform.FormatMessageW;
    platform.FormatMessageW = [&](DWORD flags, const void* source, DWORD code, DWORD language,
                                  wchar_t* buffer, DWORD size, void* arguments) {
        ++calls;
        EXPECT_EQ(flags, 0x13FFU);
        EXPECT_EQ(source, nullptr);
        EXPECT_EQ(code, 10054U);
        EXPECT_EQ(language, 0U);
        EXPECT_EQ(size, 0U);
        EXPECT_EQ(arguments, nullptr);
        return standIn(flags, source, code, language, buffer, size, arguments);
    };
    EXPECT_EQ(systemErrorText(10054), L"text of 10054");
    EXPECT_EQ(calls, 1);
}

TEST_F(ErrorText, bufferOfTheSystemIsFreedByLocalFree) {
    int calls = 0;
    auto standIn = platform.LocalFree;
    platform.LocalFree = [&](HLOCAL memory) {
        ++calls;
        EXPECT_EQ(std::wstring(static_cast<const wchar_t*>(memory)), L"text of 5");
        return standIn(memory);
    };
    systemErrorText(5);
    EXPECT_EQ(calls, 1);
}

TEST_F(ErrorText, textIsNotTrimmed) {
    platform.FormatMessageW = [](DWORD, const void*, DWORD, DWORD, wchar_t* buffer, DWORD, void*) {
        static wchar_t text[] = L" spaced. ";
        *reinterpret_cast<wchar_t**>(buffer) = text;
        return DWORD{9};
    };
    platform.LocalFree = [](HLOCAL) -> HLOCAL { return nullptr; };
    EXPECT_EQ(systemErrorText(5), L" spaced. ");
}

TEST_F(ErrorText, unknownCodeLeavesTheBracketsEmpty) {
    platform.FormatMessageW = [](DWORD, const void*, DWORD, DWORD, wchar_t*, DWORD, void*) {
        return DWORD{0};
    };
    logSystemError(log, L"send", 4711);
    EXPECT_EQ(log.lines, (std::vector<LogLine>{{Severity::Error, L"send failed with: 4711 ()"}}));
}

TEST_F(ErrorText, failedCallIsOneErrorLineWithNameCodeAndText) {
    logSystemError(log, L"send", 10054);
    EXPECT_EQ(log.lines, (std::vector<LogLine>{
                             {Severity::Error, L"send failed with: 10054 (text of 10054)"}}));
}

TEST_F(ErrorText, codeAboveTheSignedRangeIsShownUnsigned) {
    logSystemError(log, L"EncryptMessage", 0x80090326);
    EXPECT_EQ(log.lines,
              (std::vector<LogLine>{
                  {Severity::Error, L"EncryptMessage failed with: 2148074278 (text of 2148074278)"},
              }));
}

TEST_F(ErrorText, hostNameIsRequestedWithoutAServiceInAZeroedBuffer) {
    const sockaddr peer{};
    platform.GetNameInfoW = [&peer](const sockaddr* address, int length, wchar_t* node,
                                    DWORD nodeLength, wchar_t* service, DWORD serviceLength,
                                    int flags) {
        EXPECT_EQ(address, &peer);
        EXPECT_EQ(length, 16);
        EXPECT_EQ(nodeLength, 1025U);
        EXPECT_TRUE(std::all_of(node, node + nodeLength, [](wchar_t unit) { return unit == 0; }));
        EXPECT_EQ(service, nullptr);
        EXPECT_EQ(serviceLength, 0U);
        EXPECT_EQ(flags, 0);
        return 0;
    };
    EXPECT_EQ(peerHostName(log, &peer, 16), L"");
    EXPECT_EQ(platform.calls, std::vector<std::string>{"GetNameInfoW"});
}

TEST_F(ErrorText, hostNameEndsAtItsFirstZero) {
    platform.GetNameInfoW = [](const sockaddr*, int, wchar_t* node, DWORD, wchar_t*, DWORD, int) {
        std::wstring(L"host.example\0rest", 17).copy(node, 17);
        return 0;
    };
    const sockaddr peer{};
    EXPECT_EQ(peerHostName(log, &peer, 16), L"host.example");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(ErrorText, reverseLookupThatReturnsMinusOneIsAnErrorLineAndAnEmptyName) {
    platform.GetNameInfoW = [this](const sockaddr*, int, wchar_t*, DWORD, wchar_t*, DWORD, int) {
        platform.lastError = WSAHOST_NOT_FOUND;
        return -1;
    };
    const sockaddr peer{};
    EXPECT_EQ(peerHostName(log, &peer, 16), L"");
    EXPECT_EQ(log.lines, (std::vector<LogLine>{
                             {Severity::Error, L"GetNameInfoW failed with: 11001 (text of 11001)"},
                         }));
    EXPECT_EQ(platform.calls, (std::vector<std::string>{"GetNameInfoW", "WSAGetLastError"}));
}

TEST_F(ErrorText, reverseLookupThatReturnsAPositiveCodeIsSilent) {
    platform.GetNameInfoW = [](const sockaddr*, int, wchar_t*, DWORD, wchar_t*, DWORD, int) {
        return WSAHOST_NOT_FOUND;
    };
    const sockaddr peer{};
    EXPECT_EQ(peerHostName(log, &peer, 16), L"");
    EXPECT_TRUE(log.lines.empty());
}

} // namespace
} // namespace VexaSsl::test
