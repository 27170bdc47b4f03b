#include "tool/Help.h"

#include "tool/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace VexaSsl::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::string nameOf(const std::string& flag) {
    return flag.substr(0, flag.find(' '));
}

TEST(Help, everyCommandIsListed) {
    EXPECT_THAT(helpCommands(),
                ElementsAre("check", "explain", "certificates", "serve", "connect", "version"));
}

TEST(Help, flagForTheVersionIsNamed) {
    EXPECT_THAT(runTool({"--help"}).output,
                HasSubstr("\n\"vexassl --version\" is short for \"vexassl version\".\n"));
}

TEST(Help, everyCommandShowsFlagsExamplesAndStatuses) {
    for (const std::string& command : helpCommands()) {
        EXPECT_THAT(helpFlags(command), Not(IsEmpty())) << command;
        EXPECT_THAT(helpExamples(command), Not(IsEmpty())) << command;
        const std::string text = runTool({command, "--help"}).output;
        EXPECT_THAT(text, HasSubstr("Usage: vexassl " + command));
        EXPECT_THAT(text, HasSubstr("  20 warnings under --strict\n"));
    }
}

TEST(Help, onlyExamplesAreWiderThanATerminal) {
    for (const std::string& command : helpCommands()) {
        std::istringstream lines(runTool({command, "--help"}).output);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_TRUE(line.size() < 80 || line.starts_with("  vexassl ")) << line;
        }
    }
}

TEST(Help, examplesNameOnlyFlagsThatExist) {
    for (const std::string& command : helpCommands()) {
        std::set<std::string> known;
        for (const std::string& flag : helpFlags(command)) {
            known.insert(nameOf(flag));
        }
        for (const std::string& example : helpExamples(command)) {
            std::istringstream words(example);
            std::string program;
            std::string name;
            words >> program >> name;
            EXPECT_EQ(program + " " + name, "vexassl " + command);
            for (std::string word; words >> word;) {
                EXPECT_TRUE(!word.starts_with("--") || known.contains(word)) << example;
            }
        }
    }
}

TEST(Help, shortFlagIsUnderstood) {
    EXPECT_EQ(runTool({"-h"}).output, runTool({"--help"}).output);
}

TEST(Help, helpIsACommandToo) {
    EXPECT_EQ(runTool({"help"}).output, runTool({"--help"}).output);
    for (const std::string& command : helpCommands()) {
        EXPECT_EQ(runTool({"help", command}).output, runTool({command, "--help"}).output);
    }
    EXPECT_EQ(runTool({"help", "check", "more"}).status, 1);
}

TEST(Help, shortFlagsShowTheVersion) {
    for (const char* flag : {"-v", "-V"}) {
        EXPECT_EQ(runTool({flag}).output, runTool({"version"}).output);
    }
}

TEST(Help, helpOfAnUnknownCommandIsUsage) {
    const Outcome outcome = runTool({"dance", "--help"});
    EXPECT_THAT(outcome.output, Not(HasSubstr("dance")));
    EXPECT_EQ(runTool({"dance"}).status, 1);
}

TEST(Help, failureNamesTheHelpOfItsCommand) {
    EXPECT_THAT(runTool({"check", "--tango"}).errors, HasSubstr("(see vexassl check --help)"));
    EXPECT_THAT(runTool({}).errors, HasSubstr("(see vexassl --help)"));
}

} // namespace
} // namespace VexaSsl::test
