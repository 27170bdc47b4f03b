// What the tool says of arguments that it can't take: one line, in the words of its help.
#include "tool/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;

const std::string commandNames = "check, explain, certificates, serve, connect, version";

void expectLine(const Words& arguments, const std::string& line) {
    const Outcome outcome = runTool(arguments);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, "vexassl: " + line + "\n");
}

TEST(WrongArguments, withoutACommandTheCommandsAreListed) {
    expectLine({}, "give a command: " + commandNames + " (see vexassl --help)");
}

TEST(WrongArguments, unknownCommandIsNamed) {
    for (const std::string word : {"dance", "--verbose"}) {
        expectLine({word}, "[" + word + "] is no command; the commands are " + commandNames +
                               " (see vexassl --help)");
    }
}

TEST(WrongArguments, misspeltCommandsAndFlagsAreSuggested) {
    for (const auto& [word, meant] : std::map<std::string, std::string>{
             {"CHECK", "check"}, {"conect", "connect"}, {"certifcates", "certificates"}}) {
        const std::string line = "[" + word + "] is no command; the commands are " + commandNames +
                                 "; did you mean " + meant + "? (see vexassl --help)";
        expectLine({word}, line);
        expectLine({"help", word}, line);
    }
    expectLine({"check", "--certificats", "x"},
               "not expected here: [--certificats] [x]; did you mean --certificates? (see vexassl "
               "check --help)");
    expectLine({"check", "--tango"}, "not expected here: [--tango] (see vexassl check --help)");
}

TEST(WrongArguments, missingValueIsNamedAsInTheHelp) {
    expectLine({"connect", "localhost:1", "--ini"},
               "--ini wants a value: --ini FILE (see vexassl connect --help)");
    expectLine({"serve", "--port"}, "--port wants a value: --port N (see vexassl serve --help)");
}

TEST(WrongArguments, flagGivenTwiceIsNamed) {
    expectLine({"check", "--ini", "a", "--ini", "b"},
               "--ini may be given once only (see vexassl check --help)");
}

TEST(WrongArguments, folderInsteadOfTheIniFileIsNamed) {
    const Outcome outcome = runTool({"connect", "localhost:1", "--ini", "/tmp"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(failureLines(outcome.errors), 1) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr("vexassl: [/tmp] is a folder, no ini file\n"));
}

TEST(WrongArguments, targetInBracketsLacksItsPort) {
    expectLine({"connect", "[::1]"}, "[[::1]] is no HOST:PORT: there is no port");
    expectLine({"connect", "::1"}, "[::1] is no HOST:PORT: an IPv6 address needs brackets, as in "
                                   "[::1]:443");
}

TEST(WrongArguments, surplusArgumentsAreListedInOrder) {
    expectLine({"check", "serve", "--port", "0"},
               "not expected here: [serve] [--port] [0] (see vexassl check --help)");
}

TEST(WrongArguments, controlCharactersOfAnArgumentDoNotReachTheTerminal) {
    const Outcome outcome = runTool({"\x1b[31m"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors.find('\x1b'), std::string::npos);
}

TEST(WrongArguments, positionalArgumentIsNamedAsInTheHelp) {
    expectLine({"connect"}, "HOST:PORT is required (see vexassl connect --help)");
    expectLine({"explain", "localhost:1", "--file", "x"},
               "HOST:PORT excludes --file (see vexassl explain --help)");
    expectLine({"explain", "--file", "x", "--starttls", "smtp"},
               "--starttls requires HOST:PORT (see vexassl explain --help)");
    expectLine(
        {"explain", "--timeout", "target"},
        "--timeout: Value target is no number from 0 to 1000000 (see vexassl explain --help)");
}

} // namespace
} // namespace VexaSsl::test
