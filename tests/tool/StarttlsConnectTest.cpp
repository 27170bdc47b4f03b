// vexassl connect --starttls against servers that refuse, babble, cheat and fall silent, in the
// words of every protocol.
#include "tool/StarttlsTalk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;

const std::string ldapConsent("\x30\x0c\x02\x01\x01\x78\x07\x0a\x01\x00\x04\x00\x04\x00", 14);

Outcome connected(const ScriptedServer& server, const std::string& protocol,
                  const Words& more = {}) {
    return runTool(Words{"connect", server.target(), "--starttls", protocol} + switchable() + more);
}

void expectRefusal(const std::string& protocol, const std::vector<Line>& script,
                   const std::string& line) {
    ScriptedServer server(script);
    const Outcome outcome = connected(server, protocol);
    EXPECT_EQ(outcome.status, 4) << outcome.errors;
    EXPECT_EQ(failureLines(outcome.errors), 1) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr(line));
    EXPECT_EQ(outcome.output, "");
}

// The talk of each protocol up to the server's consent.
struct Consent {
    std::string protocol;
    std::vector<Line> script;

    friend std::ostream& operator<<(std::ostream& out, const Consent& consent) {
        return out << consent.protocol;
    }
};

const std::vector<Consent>& consents() {
    static const std::vector<Consent> all = {
        {"smtp",
         {{"", "220-mail.test\r\n220 ready\r\n"},
          {"EHLO vexassl.invalid\r\n", "250-mail.test\r\n250-StartTLS\r\n250 HELP\r\n"},
          {"STARTTLS\r\n", "220 go\r\n"}}},
        {"imap",
         {{"", "* OK [CAPABILITY IMAP4rev1 STARTTLS] ready\r\n"},
          {"a1 STARTTLS\r\n", "* CAPABILITY IMAP4rev1\r\na1 OK go\r\n"}}},
        {"pop3", {{"", "+OK ready\r\n"}, {"STLS\r\n", "+OK go\r\n"}}},
        {"ldap", {{"1.3.6.1.4.1.1466.20037", ldapConsent}}},
        {"postgres", {{std::string("\x00\x00\x00\x08\x04\xd2\x16\x2f", 8), "S"}}},
    };
    return all;
}

class StarttlsConnect : public ::testing::TestWithParam<Consent> {};

TEST_P(StarttlsConnect, beginsTheHandshakeAfterTheConsent) {
    std::vector<Line> script = GetParam().script;
    script.push_back({"\x16\x03", ""});
    ScriptedServer server(script, ScriptedServer::Ending::closes);
    const Outcome outcome = connected(server, GetParam().protocol);
    EXPECT_EQ(outcome.status, 4) << "a server that says no more: " << outcome.errors;
    const std::string heard = server.heard();
    const std::string& last = GetParam().script.back().heard;
    const std::size_t next = heard.find(last) + last.size();
    EXPECT_EQ(heard.substr(next, 2), "\x16\x03") << "a record of a handshake";
}

TEST_P(StarttlsConnect, refusesClearTextAfterTheConsent) {
    std::vector<Line> script = GetParam().script;
    script.back().said += "* an answer to nothing\r\n";
    expectRefusal(GetParam().protocol, script,
                  GetParam().protocol + ": the server sent clear text after its consent to TLS");
}

TEST_P(StarttlsConnect, laterClearTextFailsTheHandshake) {
    std::vector<Line> script = GetParam().script;
    script.push_back({"\x16\x03", "* an answer to nothing\r\n"});
    expectRefusal(GetParam().protocol, script, "no secure connection");
}

TEST_P(StarttlsConnect, timesOutOnASilentServer) {
    ScriptedServer server(std::vector<Line>{});
    const Outcome outcome = connected(server, GetParam().protocol, {"--timeout", "1"});
    EXPECT_EQ(outcome.status, 3) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr("timed out agreeing on TLS with " + server.target()));
}

TEST_P(StarttlsConnect, reportsThatTheServerClosed) {
    ScriptedServer server(std::vector<Line>{}, ScriptedServer::Ending::closes);
    const Outcome outcome = connected(server, GetParam().protocol);
    EXPECT_EQ(outcome.status, 4) << outcome.errors;
    EXPECT_EQ(failureLines(outcome.errors), 1) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr(GetParam().protocol + ": "));
}

INSTANTIATE_TEST_SUITE_P(Protocols, StarttlsConnect, ::testing::ValuesIn(consents()),
                         [](const auto& consent) { return consent.param.protocol; });

// --- Answers that aren't consent.

TEST(StarttlsSmtp, refusalsAreOneLine) {
    const Line greeting{"", "220 mail.test\r\n"};
    expectRefusal("smtp", {{"", "554 go away\r\n"}},
                  "smtp: expected 220 of the server, got [554 go away]");
    expectRefusal("smtp", {greeting, {"EHLO", "250-mail.test\r\n250 SIZE\r\n"}},
                  "smtp: the server doesn't offer STARTTLS");
    expectRefusal("smtp", {greeting, {"EHLO", "250-mail.test\r\n250 NOTSTARTTLS\r\n"}},
                  "smtp: the server doesn't offer STARTTLS");
    expectRefusal("smtp", {greeting, {"EHLO", "250 STARTTLS\r\n"}, {"STARTTLS\r\n", "454 no\r\n"}},
                  "smtp: expected 220 of the server, got [454 no]");
    expectRefusal("smtp", {{"", "220\x07 mail.test\r\n"}},
                  "smtp: expected 220 of the server, got [220? mail.test]");
    expectRefusal("smtp", {{"", "22\r\n"}}, "smtp: expected 220 of the server, got [22]");
    expectRefusal("smtp", {{"", "\r\n"}}, "smtp: expected 220 of the server, got []");
}

TEST(StarttlsSmtp, endlessDialogIsRefused) {
    std::string babble;
    for (int i = 0; i < 300; ++i) {
        babble += "220-more\r\n";
    }
    expectRefusal("smtp", {{"", babble}}, "smtp: the server talks without end before TLS");
    expectRefusal("smtp", {{"", "220 " + std::string(5000, 'x')}},
                  "smtp: the server sent an endless line before TLS");
}

TEST(StarttlsImap, refusalsAreOneLine) {
    const Line greeting{"", "* OK ready\r\n"};
    expectRefusal("imap", {{"", "* BYE full\r\n"}},
                  "imap: expected a greeting [* OK ...], got [* BYE full]");
    expectRefusal("imap", {greeting, {"a1 STARTTLS", "a1 BAD what?\r\n"}},
                  "imap: expected consent to STARTTLS, got [a1 BAD what?]");
    expectRefusal("imap", {greeting, {"a1 STARTTLS", "* BYE tired\r\n"}},
                  "imap: expected consent to STARTTLS, got [* BYE tired]");
    expectRefusal("imap", {greeting, {"a1 STARTTLS", "a2 OK not yours\r\n"}},
                  "imap: expected consent to STARTTLS, got [a2 OK not yours]");
}

TEST(StarttlsPop3, refusalsAreOneLine) {
    expectRefusal("pop3", {{"", "-ERR locked\r\n"}},
                  "pop3: expected a greeting [+OK ...], got [-ERR locked]");
    expectRefusal("pop3", {{"", "+OK\r\n"}, {"STLS\r\n", "-ERR no TLS\r\n"}},
                  "pop3: expected consent to STLS [+OK ...], got [-ERR no TLS]");
}

TEST(StarttlsPostgres, refusalsAreOneLine) {
    const std::string request("\x00\x00\x00\x08", 4);
    expectRefusal("postgres", {{request, "N"}}, "postgres: the server doesn't offer TLS");
    expectRefusal("postgres", {{request, "E"}},
                  "postgres: expected [S] or [N] of the server, got [E]");
}

std::string bytes(std::initializer_list<int> values) {
    return {values.begin(), values.end()};
}

TEST(StarttlsLdap, refusalsAreOneLine) {
    const std::string request = "1.3.6.1.4.1.1466.20037";
    const std::string noMessage = "ldap: the server's answer is no LDAP message";
    const std::string otherAnswer =
        "ldap: the server answers something else than the request for TLS";
    std::string refusal = ldapConsent;
    refusal[9] = 52;
    expectRefusal("ldap", {{request, refusal}}, "ldap: the server refuses TLS with result code 52");
    expectRefusal("ldap", {{request, "HTTP/1.0 400"}}, noMessage);
    expectRefusal("ldap", {{request, bytes({0x30, 0x80})}}, noMessage);
    expectRefusal("ldap", {{request, bytes({0x30, 0xff})}}, noMessage);
    expectRefusal("ldap", {{request, bytes({0x30, 0x84, 0x7f, 0xff, 0xff, 0xff})}},
                  "ldap: the server's answer is too long");
    expectRefusal("ldap", {{request, bytes({0x30, 0x00})}}, otherAnswer);
    expectRefusal("ldap", {{request, bytes({0x30, 0x05, 0x02, 0x01, 0x02, 0x78, 0x00})}},
                  otherAnswer);
    expectRefusal("ldap", {{request, bytes({0x30, 0x05, 0x02, 0x01, 0x01, 0x65, 0x00})}},
                  otherAnswer);
    expectRefusal("ldap", {{request, bytes({0x30, 0x04, 0x02, 0x01, 0x01, 0x78})}}, noMessage);
    expectRefusal("ldap", {{request, bytes({0x30, 0x06, 0x02, 0x01, 0x01, 0x78, 0xff, 0x0a})}},
                  noMessage);
    expectRefusal("ldap",
                  {{request, bytes({0x30, 0x07, 0x02, 0x01, 0x01, 0x78, 0x02, 0x0a, 0x01})}},
                  noMessage);
}

// --- What the handshake after the consent reports.

TEST(StarttlsOutcome, theHandshakesCauseIsTheStatus) {
    const auto statusWith = [](const std::string& certificate) {
        RunningServer server(switchableServer(certificate) + Words{"--starttls", "smtp"});
        return runTool(Words{"connect", server.target(), "--starttls", "smtp"} + switchable())
            .status;
    };
    EXPECT_EQ(statusWith(pki::untrusted), 5);
    EXPECT_EQ(statusWith(pki::otherName), 6);
}

TEST(StarttlsOutcome, refusedConnectionCannotConnect) {
    std::uint16_t port = 0;
    { port = Listener().port(); }
    const Outcome outcome = runTool(
        Words{"connect", "127.0.0.1:" + std::to_string(port), "--starttls", "pop3"} + switchable());
    EXPECT_EQ(outcome.status, 2) << outcome.errors;
}

} // namespace
} // namespace VexaSsl::test
