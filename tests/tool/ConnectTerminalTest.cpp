// vexassl connect with a person at a terminal.
#include "integration/support/HostSocket.h"
#include "tool/TerminalSession.h"
#include "tool/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include <sys/socket.h>

namespace VexaSsl::test {
namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

// What is typed before would stand among the lines of the handshake.
void waitUntilConnected(TerminalSession& user) {
    ASSERT_TRUE(user.shows("connected to localhost:")) << user.shown();
    ASSERT_TRUE(user.shows("]\r\n")) << user.shown();
}

// The terminal shows what is typed, and the server sends it back: a line appears twice.
std::string typedAndEchoed(const std::string& line) {
    return line + "\r\n" + line + "\r\n";
}

TEST(ConnectOnATerminal, linesAreEchoedOneByOneUntilTheEndOfTheInput) {
    for (const Words& more : {Words{}, Words{"--overlapped"}}) {
        RunningServer server(secureServer() + more);
        TerminalSession user(connectTo(server.target(), secureClient()),
                             TerminalSession::Output::onTerminal);
        ASSERT_NO_FATAL_FAILURE(waitUntilConnected(user));
        for (const char* line : {"hello", "and once more"}) {
            user.type(line + std::string("\n"));
            EXPECT_TRUE(user.shows(typedAndEchoed(line))) << user.shown();
        }
        user.type(TerminalSession::endOfFile);
        EXPECT_EQ(user.exitStatus(), 0) << user.shown();
        EXPECT_THAT(user.shown(), Not(HasSubstr("vexassl: ")));
        EXPECT_EQ(failureLines(server.command().errors()), 0) << server.command().errors();
    }
}

TEST(ConnectOnATerminal, plainTextPrintsItsNoteAndNothingElse) {
    RunningServer server(plainText());
    TerminalSession user(connectTo(server.target()), TerminalSession::Output::onTerminal);
    std::string note = plainTextNote;
    note.insert(note.size() - 1, "\r");
    ASSERT_TRUE(user.shows(note)) << user.shown();
    user.type("hello\n");
    EXPECT_TRUE(user.shows(typedAndEchoed("hello"))) << user.shown();
    user.type(TerminalSession::endOfFile);
    EXPECT_EQ(user.exitStatus(), 0);
    EXPECT_EQ(user.shown(), note + typedAndEchoed("hello"));
}

TEST(ConnectOnATerminal, interruptEndsItAtOnceAndClosesTheConnection) {
    RunningServer server(secureServer() + Words{"--json"});
    TerminalSession user(connectTo(server.target(), secureClient()),
                         TerminalSession::Output::onTerminal);
    ASSERT_NO_FATAL_FAILURE(waitUntilConnected(user));
    user.type("hello\n");
    ASSERT_TRUE(user.shows(typedAndEchoed("hello"))) << user.shown();
    user.type(TerminalSession::interrupt);
    EXPECT_EQ(user.exitStatus(), 128 + SIGINT) << "of the signal itself, which ends scripts too";
    EXPECT_THAT(user.shown(), Not(HasSubstr("vexassl: ")));
    ASSERT_TRUE(server.command().shows("\"type\":\"ended\""));
    EXPECT_THAT(server.command().output(), HasSubstr("\"outcome\":\"well\",\"status\":0,"));
    EXPECT_EQ(runTool(Words{"connect", server.target()} + secureClient()).status, 0)
        << "the server goes on";
}

TEST(ConnectOnATerminal, interruptEndsAHandshakeThatNeverComes) {
    const Listener silent;
    TerminalSession user(connectTo("localhost:" + std::to_string(silent.port()), secureClient()),
                         TerminalSession::Output::onTerminal);
    const HostSocket accepted(
        static_cast<SOCKET>(::accept(static_cast<int>(silent.handle()), nullptr, nullptr)));
    char byte = 0;
    ASSERT_EQ(::recv(accepted.descriptor(), &byte, 1, 0), 1) << "its first words have come";
    user.type(TerminalSession::interrupt);
    EXPECT_EQ(user.exitStatus(), 128 + SIGINT);
}

TEST(ConnectOnATerminal, closingServerEndsItWithoutAKey) {
    RunningServer server(secureServer());
    TerminalSession user(connectTo(server.target(), secureClient()),
                         TerminalSession::Output::onTerminal);
    ASSERT_NO_FATAL_FAILURE(waitUntilConnected(user));
    user.type("hello\n");
    ASSERT_TRUE(user.shows(typedAndEchoed("hello"))) << user.shown();
    server.command().signal(SIGTERM);
    EXPECT_EQ(user.exitStatus(), 0) << user.shown();
}

TEST(ConnectOnATerminal, typedLinesAreSentAfterTheSwitchToo) {
    RunningServer server(configured({{"UseEncryption", "Opportunistically"},
                                     {"ServerCertificateToSendName", pki::localhost}}) +
                         Words{"--starttls", "smtp"});
    TerminalSession user(
        connectTo(server.target(), Words{"--starttls", "smtp"} +
                                       configured({{"UseEncryption", "Opportunistically"}})),
        TerminalSession::Output::onTerminal);
    ASSERT_NO_FATAL_FAILURE(waitUntilConnected(user));
    user.type("QUIT\n");
    EXPECT_EQ(user.exitStatus(), 0) << user.shown();
    EXPECT_THAT(user.shown(), ContainsRegex("QUIT\r\n221 [^\r]*\r+\n"));
}

} // namespace
} // namespace VexaSsl::test
