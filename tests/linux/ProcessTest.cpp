// User names, breakpoints and code points where the Linux binding is stricter than the contract.
#include "VexaPlatform/Breakpoints.h"
#include "platform/contract/WindowsBase.h"

#include <gtest/gtest.h>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

namespace VexaSsl::test {
namespace {

TEST(GetUserNameW, userWithoutEntryIsNumber) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become a user without an entry";
    }
    EXPECT_EXIT(
        {
            constexpr uid_t userWithoutEntry = 3'999'999'999;
            wchar_t buffer[257] = {};
            DWORD size = 257;
            const bool became = setuid(userWithoutEntry) == 0;
            const BOOL done = platform::GetUserNameW(buffer, &size);
            _exit(became && done && std::wstring(buffer) == L"3999999999" ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(DebugBreak, breakpointsAreOff) {
    EXPECT_EXIT(
        {
            platform::DebugBreak();
            _exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(DebugBreak, breakpointTurnedOnRaisesSigtrap) {
    EXPECT_EXIT(
        {
            platform::setBreakpoints(true);
            platform::DebugBreak();
            _exit(0);
        },
        ::testing::KilledBySignal(SIGTRAP), "");
}

TEST(DebugBreak, breakpointTurnedOffAgainDoesNothing) {
    EXPECT_EXIT(
        {
            platform::setBreakpoints(true);
            platform::setBreakpoints(false);
            platform::DebugBreak();
            _exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(DebugBreak, tracerTurnsNoBreakpointOn) {
    const pid_t child = fork();
    if (child == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
            _exit(2);
        }
        platform::DebugBreak();
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (WIFSTOPPED(status)) {
        ADD_FAILURE() << "stopped by signal " << WSTOPSIG(status);
        ptrace(PTRACE_KILL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
        return;
    }
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 2) {
        GTEST_SKIP() << "this machine does not permit tracing";
    }
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

// Each byte of an invalid sequence is replaced, not the sequence as a whole.
TEST(MultiByteToWideChar, everyByteOfInvalidFormIsReplacementCharacter) {
    for (const std::string bytes :
         {"\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
        wchar_t buffer[8];
        const int written = platform::MultiByteToWideChar(
            CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), buffer, 8);
        EXPECT_EQ(std::wstring(buffer, static_cast<std::size_t>(written)),
                  std::wstring(bytes.size(), L'\uFFFD'));
    }
}

TEST(WideCharToMultiByte, utf8EncodesInvalidCodePointAsReplacementCharacter) {
    const std::wstring noCodePoints{static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x110000)};
    char buffer[16];
    const int written = platform::WideCharToMultiByte(CP_UTF8, 0, noCodePoints.data(), 2, buffer,
                                                      sizeof buffer, nullptr, nullptr);
    EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(written)), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

} // namespace
} // namespace VexaSsl::test
