// vexassl certificates --pick on a terminal of its own, as a user sees it.
#include "tool/StrangeCertificates.h"
#include "tool/TerminalSession.h"
#include "tool/Tool.h"

#include <gmock/gmock.h>

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

struct Session {
    int status = -1;
    std::string shown;  // on the terminal
    std::string output; // standard output
};

// Types the text and the end-of-file character. Standard output goes to a file, so that only the
// picker is on the terminal.
Session pickOnTerminal(const OwnCertificates& own, const std::string& typed,
                       const Words& more = {}) {
    TerminalSession terminal(
        Words{VEXASSL_TOOL, "certificates", "--pick", "--certificates", own.folder.string()} + more,
        TerminalSession::Output::inFile);
    terminal.type(typed + std::string(TerminalSession::endOfFile));
    const int status = terminal.exitStatus();
    return {status, terminal.shown(), terminal.output()};
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

TEST_F(PickerOfTheTool, hostileNamesCannotControlTheTerminal) {
    own.put("zz.pem", contents(makeStrange({"evil\x1b]0;title\x07\x1b[2J", {}})));
    const Session session = pickOnTerminal(own, "3\n");
    EXPECT_EQ(session.status, 0);
    EXPECT_EQ(session.shown.find('\x1b'), std::string::npos);
    EXPECT_EQ(session.shown.find('\x07'), std::string::npos);
    EXPECT_THAT(session.shown, HasSubstr("3. evil?]0;title??[2J"));
}

TEST_F(PickerOfTheTool, manyNamesAreTruncated) {
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
