// Files that are no configuration: each gets a clear line, a status and an end.
#include "tool/Checked.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <random>

namespace VexaSsl::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

void expectUnreadable(const std::filesystem::path& ini, const std::string& file,
                      const std::string& reason) {
    const Outcome outcome = checked(ini);
    EXPECT_EQ(outcome.status, 1) << outcome.errors;
    const auto found = findings(outcome, "unreadable-file");
    ASSERT_THAT(found, SizeIs(1)) << outcome.errors;
    EXPECT_EQ(found[0], file + ": error: " + reason + "; a start falls back to plain text");
}

TEST(CheckHostileFiles, missingIniFile) {
    expectUnreadable("/no/such.ini", "/no/such.ini", "cannot be opened: No such file or directory");
}

TEST(CheckHostileFiles, missingStore) {
    expectUnreadable(fileHolding("[VexaSsl]\nConfigurationStore=/no/such.store\n"),
                     "/no/such.store", "cannot be opened: No such file or directory");
}

TEST(CheckHostileFiles, directoryForAnIniFile) {
    const auto folder = std::filesystem::temp_directory_path();
    expectUnreadable(folder, folder.string(), "is a directory");
}

TEST(CheckHostileFiles, directoryForAStore) {
    expectUnreadable(fileHolding("[VexaSsl]\nConfigurationStore=/\n"), "/", "is a directory");
}

TEST(CheckHostileFiles, deviceWithoutAnEnd) {
    expectUnreadable("/dev/zero", "/dev/zero", "is a device");
}

// A start reads it like a file without a line.
TEST(CheckHostileFiles, nullDeviceIsAnEmptyStore) {
    const Outcome outcome = checked(fileHolding("[VexaSsl]\nConfigurationStore=/dev/null\n"));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(findings(outcome, "no-connections"), SizeIs(1));
    EXPECT_THAT(findings(outcome, "unreadable-file"), SizeIs(0));
}

TEST(CheckHostileFiles, emptyFile) {
    const auto ini = fileHolding("");
    const Outcome outcome = checked(ini);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(findings(outcome, "no-store"), SizeIs(1));
}

TEST(CheckHostileFiles, hugeLine) {
    const auto ini = fileHolding("[VexaSsl]\n" + std::string(std::size_t{16} << 20, 'x') + "\n");
    const Outcome outcome = checked(ini);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(linesWith(outcome, "line-too-long", ini), ElementsAre(2));
    EXPECT_LT(outcome.errors.size(), 2000U);
}

TEST(CheckHostileFiles, randomBytes) {
    std::mt19937 random(7);
    for (int round = 0; round < 5; ++round) {
        std::string bytes;
        for (int i = 0; i < 50000; ++i) {
            bytes.push_back(static_cast<char>(random()));
        }
        const Outcome outcome = checked(fileHolding(bytes));
        EXPECT_EQ(outcome.status, 1) << outcome.errors;
        EXPECT_THAT(findings(outcome, "no-store"), SizeIs(1));
        const Configured files(bytes);
        const Outcome store = checked(files.ini, {"--strict"});
        EXPECT_EQ(store.status, 20) << store.errors;
    }
}

TEST(CheckHostileFiles, zeroBytes) {
    using namespace std::string_literals;
    const auto ini = fileHolding("[VexaSsl]\nConfig\0urationStore=/x\n\0\0\n"s);
    const Outcome outcome = checked(ini);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(linesWith(outcome, "zero-character", ini), ElementsAre(2, 3));
    EXPECT_THAT(outcome.errors, HasSubstr("[Config?urationStore]"));
}

TEST(CheckHostileFiles, sixteenBitText) {
    using namespace std::string_literals;
    const auto ini = fileHolding("\xFF\xFE[\0V\0]\0\r\0\n\0"s);
    const Outcome outcome = checked(ini);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(linesWith(outcome, "sixteen-bit-text", ini), ElementsAre(1));
}

TEST(CheckHostileFiles, fileThatThisUserMayNotRead) {
    const auto ini = fileHolding("[VexaSsl]\n");
    std::filesystem::permissions(ini, std::filesystem::perms::none);
    Command command(boundByPermissions() + Words{VEXASSL_TOOL, "check", "--ini", ini.string()});
    const Outcome outcome = runToEnd(command);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(firstFinding(outcome, "unreadable-file"),
                HasSubstr("cannot be opened: Permission denied"));
}

} // namespace
} // namespace VexaSsl::test
