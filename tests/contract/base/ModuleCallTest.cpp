// Modules and version records. The library's own record is tested where the library is loaded, in
// tests/module.
#include "platform/contract/WindowsBase.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace VexaSsl::test {
namespace {

TEST(GetModuleFileNameA, nullModuleIsTheExecutable) {
    char buffer[4096] = {};
    const DWORD written = platform::GetModuleFileNameA(nullptr, buffer, sizeof buffer);
    ASSERT_GT(written, 0U);
    EXPECT_EQ(buffer[written], '\0');
    EXPECT_EQ(std::string(buffer).size(), written);
    EXPECT_TRUE(std::filesystem::exists(buffer)) << buffer;
}

TEST(GetModuleFileNameA, longerPathIsTruncated) {
    char whole[4096] = {};
    platform::GetModuleFileNameA(nullptr, whole, sizeof whole);
    char buffer[] = "xxxxxxxx";
    EXPECT_EQ(platform::GetModuleFileNameA(nullptr, buffer, 4), 4U);
    EXPECT_EQ(platform::GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(std::string(buffer, 3), std::string(whole, 3)); // termination isn't guaranteed
    EXPECT_EQ(buffer[4], 'x');
}

TEST(LoadLibraryA, unknownNameGivesNull) {
    EXPECT_EQ(platform::LoadLibraryA("vexassl-no-such-library"), nullptr);
    EXPECT_NE(platform::GetLastError(), 0U);
}

TEST(GetFileVersionInfoSizeA, missingFileHasNoVersionRecord) {
    DWORD ignored = 7;
    EXPECT_EQ(platform::GetFileVersionInfoSizeA("vexassl-no-such-file", &ignored), 0U);
    EXPECT_EQ(ignored, 0U);
}

TEST(GetFileVersionInfoSizeA, testExecutableHasNoVersionRecord) {
    char name[4096] = {};
    platform::GetModuleFileNameA(nullptr, name, sizeof name);
    DWORD ignored = 7;
    EXPECT_EQ(platform::GetFileVersionInfoSizeA(name, &ignored), 0U);
}

TEST(GetFileVersionInfoA, missingFileFails) {
    char block[64];
    EXPECT_EQ(platform::GetFileVersionInfoA("vexassl-no-such-file", 0, sizeof block, block), FALSE);
}

} // namespace
} // namespace VexaSsl::test
