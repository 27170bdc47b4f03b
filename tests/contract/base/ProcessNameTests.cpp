// Names of the executable, the machine and the user, and the breakpoint.
#include "platform/WindowsBase.h"

#include <gtest/gtest.h>

#include <pwd.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

namespace VexaSsl::testing {
namespace {

TEST(GetModuleFileNameW, isThePathOfTheExecutable) {
    wchar_t buffer[4096] = {};
    const DWORD written = platform::GetModuleFileNameW(nullptr, buffer, 4096);
    EXPECT_EQ(std::filesystem::path(std::wstring(buffer, written)),
              std::filesystem::read_symlink("/proc/self/exe"));
    EXPECT_EQ(buffer[written], L'\0');
}

TEST(GetModuleFileNameW, longerPathIsCut) {
    wchar_t buffer[] = L"xxxxxxxx";
    EXPECT_EQ(platform::GetModuleFileNameW(nullptr, buffer, 4), 4U);
    EXPECT_EQ(platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(std::wstring(buffer).size(), 3U);
    EXPECT_EQ(buffer[0], L'/');
    EXPECT_EQ(buffer[4], L'x');
}

TEST(GetModuleFileNameW, otherModulesAreNotKnown) {
    wchar_t buffer[8];
    int module = 0;
    EXPECT_EQ(platform::GetModuleFileNameW(&module, buffer, 8), 0U);
}

TEST(GetComputerNameExW, withoutABufferTellsTheSize) {
    DWORD size = 0;
    EXPECT_FALSE(platform::GetComputerNameExW(ComputerNameDnsFullyQualified, nullptr, &size));
    EXPECT_EQ(platform::GetLastError(), ERROR_MORE_DATA);
    EXPECT_GT(size, 1U);
}

TEST(GetComputerNameExW, fillsABufferOfThatSize) {
    DWORD size = 0;
    platform::GetComputerNameExW(ComputerNameDnsFullyQualified, nullptr, &size);
    std::wstring name(size, L'x');
    DWORD written = size;
    EXPECT_TRUE(platform::GetComputerNameExW(ComputerNameDnsFullyQualified, name.data(), &written));
    EXPECT_EQ(written, size - 1);
    EXPECT_EQ(name.back(), L'\0');
}

TEST(GetComputerNameExW, tooSmallABufferTellsTheSize) {
    wchar_t buffer[1];
    DWORD size = 1;
    EXPECT_FALSE(platform::GetComputerNameExW(ComputerNameDnsFullyQualified, buffer, &size));
    EXPECT_GT(size, 1U);
}

TEST(GetUserNameW, isTheEffectiveUser) {
    wchar_t buffer[257] = {};
    DWORD size = 257;
    ASSERT_TRUE(platform::GetUserNameW(buffer, &size));
    const passwd* entry = getpwuid(geteuid());
    const std::string expected = entry ? entry->pw_name : std::to_string(geteuid());
    EXPECT_EQ(std::wstring(buffer), std::wstring(expected.begin(), expected.end()));
    EXPECT_EQ(size, expected.size() + 1);
}

TEST(GetUserNameW, userWithoutAnEntryIsANumber) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become a user without an entry";
    EXPECT_EXIT(
        {
            constexpr uid_t nobodyKnows = 3'999'999'999;
            wchar_t buffer[257] = {};
            DWORD size = 257;
            const bool became = setuid(nobodyKnows) == 0;
            const BOOL done = platform::GetUserNameW(buffer, &size);
            _exit(became && done && std::wstring(buffer) == L"3999999999" ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(GetUserNameW, tooSmallABufferTellsTheSize) {
    wchar_t buffer[1];
    DWORD size = 1;
    EXPECT_FALSE(platform::GetUserNameW(buffer, &size));
    EXPECT_EQ(platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_GT(size, 1U);
}

TEST(DebugBreak, withoutADebuggerDoesNothing) {
    EXPECT_EXIT(
        {
            platform::DebugBreak();
            _exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(DebugBreak, stopsUnderADebugger) {
    const pid_t child = fork();
    if (child == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            _exit(2);
        platform::DebugBreak();
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    const bool refused = WIFEXITED(status) && WEXITSTATUS(status) == 2;
    if (!refused) {
        EXPECT_TRUE(WIFSTOPPED(status) && WSTOPSIG(status) == SIGTRAP);
        ptrace(PTRACE_KILL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
    }
    if (refused)
        GTEST_SKIP() << "this machine allows no tracing";
}

} // namespace
} // namespace VexaSsl::testing
