// vexassl certificates --pick on a terminal of its own, as a user meets it.
#include "tool/StrangeCertificates.h"
#include "tool/Tool.h"

#include <gmock/gmock.h>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

struct Session {
    int status = -1;
    std::string shown;  // on the terminal
    std::string output; // standard output
};

std::string readAll(int terminal) {
    std::string all;
    char buffer[512];
    for (ssize_t got = 0; (got = ::read(terminal, buffer, sizeof buffer)) > 0;) {
        all.append(buffer, static_cast<std::size_t>(got));
    }
    return all;
}

// Standard output goes to a file, so that only the picker is on the terminal.
[[noreturn]] void becomeTool(const Words& words, const std::filesystem::path& output) {
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    const int file = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::dup2(file, STDOUT_FILENO);
    ::execv(arguments[0], arguments.data());
    ::_exit(99);
}

// Types the text and the end-of-file character.
Session pickOnTerminal(const OwnCertificates& own, const std::string& typed,
                       const Words& more = {}) {
    const Words words =
        Words{VEXASSL_TOOL, "certificates", "--pick", "--certificates", own.folder.string()} + more;
    const auto output = freshFile(".out");
    int terminal = -1;
    const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        becomeTool(words, output);
    }
    const std::string all = typed + '\x04';
    EXPECT_EQ(::write(terminal, all.data(), all.size()), static_cast<ssize_t>(all.size()));
    Session session;
    session.shown = readAll(terminal);
    ::close(terminal);
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    session.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    session.output = contents(output);
    return session;
}

struct PickerOfTheTool : ::testing::Test {
    PickerOfTheTool() {
        own.putCase("client");
        own.putCase("server-rsa");
    }
    OwnCertificates own;
};

TEST_F(PickerOfTheTool, showsANumberedListAndTakesANumber) {
    const Session session = pickOnTerminal(own, "2\n");
    EXPECT_EQ(session.status, 0) << session.shown;
    EXPECT_THAT(session.shown, HasSubstr("  1. client.test [client.test], issued by Throwaway "
                                         "Authority, valid from 2020-01-01 to 2049-12-31\r\n"
                                         "  2. localhost [localhost], issued by"));
    EXPECT_THAT(session.output, HasSubstr("1 of 2 certificates in the personal store\n\n"
                                          "[2] localhost\n"));
    EXPECT_THAT(session.output, Not(HasSubstr("client.test")));
}

TEST_F(PickerOfTheTool, pickedOneForAScript) {
    const Session session = pickOnTerminal(own, "1\n", {"--json"});
    EXPECT_EQ(session.status, 0);
    EXPECT_THAT(session.output, ::testing::StartsWith("{\"type\":\"certificate\",\"certificate\":1,"
                                                      "\"name\":\"client.test\""));
}

TEST_F(PickerOfTheTool, declinedIsAStatusAndALine) {
    for (const char* answer : {"\n", "0\n", "", "9\nx\n-1\n"}) {
        const Session session = pickOnTerminal(own, answer);
        EXPECT_EQ(session.status, 7) << session.shown;
        EXPECT_EQ(session.output, "");
        EXPECT_THAT(session.shown, HasSubstr("vexassl: no certificate was picked"));
    }
}

TEST_F(PickerOfTheTool, hostileNamesSteerNoTerminal) {
    own.put("zz.pem", contents(makeStrange({"evil\x1b]0;title\x07\x1b[2J", {}})));
    const Session session = pickOnTerminal(own, "3\n");
    EXPECT_EQ(session.status, 0);
    EXPECT_EQ(session.shown.find('\x1b'), std::string::npos);
    EXPECT_EQ(session.shown.find('\x07'), std::string::npos);
    EXPECT_THAT(session.shown, HasSubstr("3. evil?]0;title??[2J"));
}

TEST_F(PickerOfTheTool, manyNamesFillNoScreen) {
    std::vector<std::string> names;
    for (int i = 0; i < 10000; ++i) {
        names.push_back("host-" + std::to_string(i) + ".example.test");
    }
    own.put("zz.pem", contents(makeStrange({"many names", names})));
    const Session session = pickOnTerminal(own, "3\n");
    EXPECT_EQ(session.status, 0);
    EXPECT_LT(session.shown.size(), 2000U);
    EXPECT_THAT(session.shown, HasSubstr("and 9991 more"));
}

TEST_F(PickerOfTheTool, withoutATerminalNoneIsPicked) {
    Command command({"setsid", "--wait", VEXASSL_TOOL, "certificates", "--pick", "--certificates",
                     own.folder.string()});
    const Outcome outcome = runToEnd(command);
    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(failureLines(outcome.errors), 1) << outcome.errors;
}

} // namespace
} // namespace VexaSsl::test
