// The completion of the shells, with what the help says.
#include "tool/Help.h"
#include "tool/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>

namespace VexaSsl::test {
namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::UnorderedElementsAre;

// What bash offers for the last word of a command line.
std::set<std::string> offered(const std::string& line) {
    Command bash({"bash", "-c",
                  "cd / && . '" VEXASSL_COMPLETION "/vexassl.bash' && COMP_WORDS=('" VEXASSL_TOOL
                  "' " +
                      line +
                      ") && COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) && _vexassl && "
                      "printf '%s\\n' \"${COMPREPLY[@]}\""});
    EXPECT_EQ(bash.exitStatus(), 0) << bash.errors();
    EXPECT_EQ(bash.errors(), "");
    std::set<std::string> words;
    std::istringstream lines(bash.output());
    for (std::string word; std::getline(lines, word);) {
        words.insert(word);
    }
    words.erase("");
    return words;
}

TEST(Completion, offersTheCommands) {
    EXPECT_THAT(offered("''"), IsSupersetOf(helpCommands()));
    EXPECT_THAT(offered("c"), UnorderedElementsAre("check", "certificates", "connect"));
    EXPECT_THAT(offered("help ch"), UnorderedElementsAre("check"));
}

TEST(Completion, offersEveryFlagOfACommand) {
    for (const std::string& command : helpCommands()) {
        const auto words = offered(command + " ''");
        for (const std::string& flag : helpFlags(command)) {
            if (flag.starts_with("--")) {
                EXPECT_THAT(words, Contains(flag.substr(0, flag.find(' ')))) << command;
            }
        }
    }
}

TEST(Completion, offersTheWordsOfAFlag) {
    EXPECT_THAT(offered("check --role ''"), UnorderedElementsAre("server", "client", "both"));
    EXPECT_THAT(offered("connect x:1 --starttls ''"),
                UnorderedElementsAre("smtp", "imap", "pop3", "ldap", "postgres"));
    EXPECT_THAT(offered("connect x:1 --timeout ''"), IsEmpty());
    EXPECT_THAT(offered("check --ini=/a/b ''"), Contains("--role")) << "not one of the flags";
}

TEST(Completion, offersFilesAndFolders) {
    EXPECT_THAT(offered("check --ini et"), Contains("etc"));
    EXPECT_THAT(offered("check --certificates et"), Contains("etc"));
}

// Parsed only: what it takes from the help is the same.
TEST(Completion, thatOfZshIsValid) {
    Command found({"sh", "-c", "command -v zsh"});
    if (found.exitStatus() != 0) {
        GTEST_SKIP() << "no zsh";
    }
    Command zsh({"zsh", "-n", VEXASSL_COMPLETION "/_vexassl"});
    EXPECT_EQ(zsh.exitStatus(), 0) << zsh.errors();
}

} // namespace
} // namespace VexaSsl::test
