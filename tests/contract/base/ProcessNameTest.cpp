// Names of the executable, the machine and the user.
#include "contract/support/ContractTest.h"
#include "contract/support/System.h"
#include "platform/contract/WindowsBase.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace VexaSsl::test {
namespace {

using GetModuleFileNameW = ContractTest;
using GetComputerNameExW = ContractTest;
using GetUserNameW = ContractTest;

TEST_F(GetModuleFileNameW, nullModuleIsTheExecutable) {
    wchar_t buffer[4096] = {};
    const DWORD written = platform::GetModuleFileNameW(nullptr, buffer, 4096);
    EXPECT_EQ(std::filesystem::path(std::wstring(buffer, written)), pathOfThisProgram());
    EXPECT_EQ(buffer[written], L'\0');
}

TEST_F(GetModuleFileNameW, longerPathIsTruncated) {
    wchar_t buffer[] = L"xxxxxxxx";
    EXPECT_EQ(platform::GetModuleFileNameW(nullptr, buffer, 4), 4U);
    EXPECT_EQ(platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(std::wstring(buffer).size(), 3U);
    EXPECT_EQ(buffer[0], pathOfThisProgram().wstring().front());
    EXPECT_EQ(buffer[4], L'x');
}

TEST_F(GetModuleFileNameW, otherModulesAreUnknown) {
    wchar_t buffer[8];
    int module = 0;
    EXPECT_EQ(platform::GetModuleFileNameW(reinterpret_cast<HMODULE>(&module), buffer, 8), 0U);
}

TEST_F(GetComputerNameExW, missingBufferGivesTheSizeNeeded) {
    DWORD size = 0;
    EXPECT_FALSE(platform::GetComputerNameExW(ComputerNameDnsFullyQualified, nullptr, &size));
    EXPECT_EQ(platform::GetLastError(), ERROR_MORE_DATA);
    EXPECT_GT(size, 1U);
}

TEST_F(GetComputerNameExW, bufferOfTheSizeNeededIsFilled) {
    DWORD size = 0;
    platform::GetComputerNameExW(ComputerNameDnsFullyQualified, nullptr, &size);
    std::wstring name(size, L'x');
    DWORD written = size;
    EXPECT_TRUE(platform::GetComputerNameExW(ComputerNameDnsFullyQualified, name.data(), &written));
    EXPECT_EQ(written, size - 1);
    EXPECT_EQ(name.back(), L'\0');
}

TEST_F(GetComputerNameExW, tooSmallBufferGivesTheSizeNeeded) {
    wchar_t buffer[1];
    DWORD size = 1;
    EXPECT_FALSE(platform::GetComputerNameExW(ComputerNameDnsFullyQualified, buffer, &size));
    EXPECT_GT(size, 1U);
}

TEST_F(GetUserNameW, effectiveUserIsNamed) {
    wchar_t buffer[257] = {};
    DWORD size = 257;
    ASSERT_TRUE(platform::GetUserNameW(buffer, &size));
    const std::wstring expected = userOfThisProcess();
    EXPECT_EQ(std::wstring(buffer), expected);
    EXPECT_EQ(size, expected.size() + 1);
}

TEST_F(GetUserNameW, tooSmallBufferGivesTheSizeNeeded) {
    wchar_t buffer[1];
    DWORD size = 1;
    EXPECT_FALSE(platform::GetUserNameW(buffer, &size));
    EXPECT_EQ(platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_GT(size, 1U);
}

} // namespace
} // namespace VexaSsl::test
