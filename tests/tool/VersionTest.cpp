#include "tool/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using testing::HasSubstr;

TEST(Version, libraryPlatformAndItsSecurityLibraryAreShown) {
    const Outcome outcome = runTool({"version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(outcome.output, HasSubstr("VexaSsl       22.0.3.2\n"));
    EXPECT_THAT(outcome.output, HasSubstr("platform      linux\n"));
    EXPECT_THAT(outcome.output, HasSubstr("security      OpenSSL 3."));
}

TEST(Version, isAFlagToo) {
    const Outcome outcome = runTool({"--version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, runTool({"version"}).output);
}

TEST(Version, asAFlagStandsAlone) {
    for (const Words& more : {Words{"x"}, Words{"--json"}, Words{"version"}, Words{"--version"}}) {
        const Outcome outcome = runTool(Words{"--version"} + more);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.errors, "vexassl: --version stands alone (see vexassl --help)\n");
    }
}

TEST(Version, jsonIsOneObject) {
    const Outcome outcome = runTool({"version", "--json"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(outcome.output.starts_with("{\"type\":\"version\",\"version\":\"22.0.3.2\","
                                           "\"platform\":\"linux\",\"security\":\"OpenSSL 3."))
        << outcome.output;
    EXPECT_TRUE(outcome.output.ends_with("\"}\n"));
}

TEST(Version, wrongArgumentsAreUsage) {
    EXPECT_EQ(runTool({"version", "more"}).status, 1);
    EXPECT_EQ(runTool({"version", "--more"}).status, 1);
}

TEST(Version, fullOutputDeviceIsAFailure) {
    Command command(Words{VEXASSL_TOOL, "version"}, Command::Input::none(), "/dev/full");
    EXPECT_EQ(command.exitStatus(), 1);
    EXPECT_THAT(command.errors(), HasSubstr("vexassl: cannot write to standard output"));
}

} // namespace
} // namespace VexaSsl::test
