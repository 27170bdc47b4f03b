// Opportunistic TLS with programs that others wrote: mail clients that send through vexassl serve,
// and servers of four protocols that vexassl connect switches over. What isn't installed is skipped
// with a message.
#include "tool/StarttlsServers.h"
#include "tool/StarttlsTalk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;

std::string authority() {
    return pki::file("authority", "cert").string();
}

class StarttlsClients : public ::testing::Test {
protected:
    // What the program said; the server's log is in server.
    Outcome run(const Words& words, const Command::Input& input) {
        Command command(words, input);
        return runToEnd(command);
    }
    std::string port() const { return std::to_string(server.port()); }

    RunningServer server{switchableServer() + Words{"--starttls", "smtp"}};
};

const std::string session = "EHLO client.test\r\nMAIL FROM:<a@b.test>\r\nRCPT TO:<c@d.test>\r\n"
                            "DATA\r\nSubject: x\r\n\r\nhello\r\n.\r\nQUIT\r\n";

TEST_F(StarttlsClients, opensslSwitchesAndTalks) {
    VEXASSL_NEEDS_PROGRAM("openssl");
    Command client({"openssl", "s_client", "-starttls", "smtp", "-connect", server.target(),
                    "-CAfile", authority(), "-verify_return_error", "-verify_hostname", "localhost",
                    "-quiet", "-crlf"},
                   Command::Input::open());
    EXPECT_TRUE(client.complains("250 ")) << "its own greeting: " << client.errors();
    client.say("EHLO client.test\n");
    EXPECT_TRUE(client.shows("250-vexassl")) << client.output();
    client.say("QUIT\n");
    EXPECT_TRUE(client.shows("221 ")) << client.output();
    client.exitStatus();
    EXPECT_THAT(client.errors(), HasSubstr("verify return:1"));
}

TEST_F(StarttlsClients, gnuTlsSwitchesAndTalks) {
    VEXASSL_NEEDS_PROGRAM("gnutls-cli");
    Command client({"gnutls-cli", "--starttls-proto=smtp", "--x509cafile=" + authority(),
                    "--port=" + port(), "localhost"},
                   Command::Input::open());
    EXPECT_TRUE(client.shows("Simple Client Mode")) << client.output() << client.errors();
    client.say(session);
    EXPECT_TRUE(client.shows("221 ")) << client.output();
    EXPECT_THAT(client.output(), HasSubstr("The certificate is trusted"));
    EXPECT_TRUE(server.command().complains("message from <a@b.test> for <c@d.test>"));
}

TEST_F(StarttlsClients, curlSendsAMessage) {
    VEXASSL_NEEDS_PROGRAM("curl");
    const Outcome outcome =
        run({"curl", "--silent", "--show-error", "--max-time", "30", "--ssl-reqd", "--cacert",
             authority(), "smtp://" + server.target(), "--mail-from", "a@b.test", "--mail-rcpt",
             "c@d.test", "--mail-rcpt", "e@f.test", "--upload-file", "-"},
            Command::Input::text("Subject: x\r\n\r\n.dot\r\n"));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_TRUE(server.command().complains("message from <a@b.test> for <c@d.test> <e@f.test>"))
        << server.command().errors();
}

TEST_F(StarttlsClients, curlRefusesAServerThatItDoesNotTrust) {
    VEXASSL_NEEDS_PROGRAM("curl");
    const Outcome outcome =
        run({"curl", "--silent", "--show-error", "--max-time", "30", "--ssl-reqd", "--cacert",
             pki::file("other-authority", "cert").string(), "smtp://" + server.target(),
             "--mail-from", "a@b.test", "--mail-rcpt", "c@d.test", "--upload-file", "-"},
            Command::Input::text("Subject: x\r\n\r\nsecret\r\n"));
    EXPECT_EQ(outcome.status, 60) << outcome.errors;
    EXPECT_THAT(server.command().errors(), testing::Not(testing::HasSubstr("message from")));
}

TEST_F(StarttlsClients, aMailClientSendsAMessage) {
    VEXASSL_NEEDS_PROGRAM("msmtp");
    const Outcome outcome =
        run({"msmtp", "--host=localhost", "--port=" + port(), "--tls=on", "--tls-starttls=on",
             "--tls-trust-file=" + authority(), "--from=a@b.test", "--timeout=30", "c@d.test"},
            Command::Input::text("Subject: x\n\nhello\n.\nbye\n"));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_TRUE(server.command().complains("message from <a@b.test> for <c@d.test>"))
        << server.command().errors();
}

// --- Servers.

// A conversation inside TLS: what is said, and what the answer holds.
void converse(const std::string& protocol, std::uint16_t port, const std::string& question,
              const std::string& answer, const std::string& goodbye) {
    Command client(connectTo("localhost:" + std::to_string(port),
                             Words{"--starttls", protocol} + switchable()),
                   Command::Input::open());
    EXPECT_TRUE(client.complains("connected to localhost:")) << client.errors();
    EXPECT_THAT(client.errors(), HasSubstr(": TLS 1.2 with TLS_ECDHE_"));
    EXPECT_THAT(client.errors(),
                HasSubstr(", peer [O=case server-rsa, CN=localhost], issued by ["));
    client.say(question);
    EXPECT_TRUE(client.shows(answer)) << client.output() << client.errors();
    // The servers close at once after their last answer, which may take that answer along.
    client.say(goodbye);
    client.closeInput();
    EXPECT_EQ(client.exitStatus(), 0) << client.errors();
}

TEST(StarttlsServers, dovecotTakesMailSessions) {
    VEXASSL_NEEDS_PROGRAM("dovecot");
    VEXASSL_NEEDS_FILE("/usr/lib/dovecot/submission-login");
    const ForeignMailServer server;
    converse("smtp", server.submissionPort(), "EHLO client.test\r\n", "250 ", "QUIT\r\n");
}

TEST(StarttlsServers, dovecotTakesImapSessions) {
    VEXASSL_NEEDS_PROGRAM("dovecot");
    VEXASSL_NEEDS_FILE("/usr/lib/dovecot/imap-login");
    const ForeignMailServer server;
    converse("imap", server.imapPort(), "a2 CAPABILITY\r\n", "a2 OK", "a3 LOGOUT\r\n");
}

TEST(StarttlsServers, dovecotTakesPop3Sessions) {
    VEXASSL_NEEDS_PROGRAM("dovecot");
    VEXASSL_NEEDS_FILE("/usr/lib/dovecot/pop3-login");
    const ForeignMailServer server;
    converse("pop3", server.pop3Port(), "CAPA\r\n", "\r\n.\r\n", "QUIT\r\n");
}

TEST(StarttlsServers, slapdAnswersASearch) {
    VEXASSL_NEEDS_PROGRAM("slapd");
    const ForeignDirectory server;
    // Message 2: a search for the entry that describes the server.
    converse("ldap", server.port(),
             std::string("\x30\x25\x02\x01\x02\x63\x20\x04\x00\x0a\x01\x00\x0a\x01\x00\x02\x01\x00"
                         "\x02\x01\x00\x01\x01\x00\x87\x0bobjectClass\x30\x00",
                         39),
             "OpenLDAProotDSE", "");
}

TEST(StarttlsServers, postgresAnswersAQuery) {
    VEXASSL_NEEDS_FILE(postgresProgram("postgres").string());
    const ForeignDatabase server;
    const std::string startup("\x00\x00\x00\x17\x00\x03\x00\x00user\0postgres\0\0", 23);
    const std::string query("Q\x00\x00\x00\x17SELECT 'seven'||1;\0", 24);
    const std::string goodbye("X\x00\x00\x00\x04", 5);
    converse("postgres", server.port(), startup + query, "seven1", goodbye);
}

TEST(StarttlsServers, aDatabaseWithoutTlsIsRefused) {
    VEXASSL_NEEDS_FILE(postgresProgram("postgres").string());
    const ForeignDatabase server(ForeignDatabase::Tls::off);
    const Outcome outcome = runTool(
        Words{"connect", "localhost:" + std::to_string(server.port()), "--starttls", "postgres"} +
        switchable());
    EXPECT_EQ(outcome.status, 4) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr("postgres: the server doesn't offer TLS"));
}

} // namespace
} // namespace VexaSsl::test
