// vexassl explain on certificates that no authority issues.
#include "tool/ExplainCases.h"

#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST(ExplainHostile, controlCharactersNeverReachTheTerminal) {
    const auto file = makeStrange({"evil\x1b[2J\x07\xc2\x9b", {}});
    const Outcome person = runTool(ofFile(file));
    EXPECT_EQ(person.status, 5);
    EXPECT_THAT(person.output, HasSubstr("evil?[2J?"));
    for (const char unit : {'\x1b', '\x07'}) {
        EXPECT_EQ(person.output.find(unit), std::string::npos);
    }
    EXPECT_EQ(person.output.find("\xc2\x9b"), std::string::npos);
    const Outcome script = runTool(ofFile(file) + Words{"--json"});
    EXPECT_EQ(script.output.find('\x1b'), std::string::npos);
}

TEST(ExplainHostile, lineEndsInANameMakeNoLines) {
    const auto file = makeStrange({"one\nfor server authentication: trusted", {}});
    EXPECT_THAT(runTool(ofFile(file)).output,
                Not(HasSubstr("\nfor server authentication: trusted")));
}

TEST(ExplainHostile, directionCharactersAreReplaced) {
    const auto file = makeStrange({"abc\xe2\x80\xae"
                                   "def",
                                   {}});
    EXPECT_THAT(runTool(ofFile(file)).output, Not(HasSubstr("\xe2\x80\xae")));
}

TEST(ExplainHostile, nameWithAZeroMatchesNoServer) {
    const Outcome outcome =
        runTool(ofCase("zero-in-name") + forServer + Words{"--name", "localhost"});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.output, HasSubstr("names       none\n"));
    EXPECT_EQ(outcome.output.find('\0'), std::string::npos);
}

TEST(ExplainHostile, tenThousandNamesAreSummarisedAndCompleteForScripts) {
    std::vector<std::string> names;
    for (int i = 0; i < 10000; ++i) {
        names.push_back("host-" + std::to_string(i) + ".example.test");
    }
    const auto file = makeStrange({"many names", names});
    const Outcome person =
        runTool(ofFile(file) + forServer + Words{"--name", "host-9999.example.test"});
    EXPECT_EQ(person.status, 5);
    EXPECT_THAT(person.output, HasSubstr("host-19.example.test and 9980 more\n"));
    EXPECT_THAT(person.output, HasSubstr("the certificate is made out to it"));
    EXPECT_THAT(runTool(ofFile(file) + Words{"--json"}).output,
                HasSubstr("\"host-9999.example.test\"]"));
}

TEST(ExplainHostile, hugeNameIsTruncatedForAUser) {
    // The subject takes 64 characters of a common name, an alternative name any number.
    const auto file = makeStrange({"huge name", {std::string(100000, 'a') + ".test"}});
    const Outcome outcome = runTool(ofFile(file) + forServer);
    EXPECT_THAT(outcome.output, HasSubstr(std::string(250, 'a') + "...\n"));
    EXPECT_LT(outcome.output.size(), 10000U);
}

} // namespace
} // namespace VexaSsl::test
