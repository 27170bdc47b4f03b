// vexassl connect --tls: a secured connection without a configuration file.
#include "tool/StarttlsTalk.h"
#include "tool/StrangeCertificates.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

namespace VexaSsl::test {
namespace {

using testing::HasSubstr;
using testing::Not;

const Words trusted = {"--tls", "--root", pki::file("authority", "cert").string()};

Outcome connectedDirectly(const std::string& target, const Words& more,
                          const Command::Input& input = Command::Input::text("hello\n")) {
    return runTool(Words{"connect", target} + more, input);
}

std::string fileOf(const std::string& name, const std::string& kind) {
    return pki::file(name, kind).string();
}

std::filesystem::path emptyFolder() {
    const auto folder = freshFile(".folder");
    std::filesystem::create_directory(folder);
    return folder;
}

TEST(DirectTls, namedAnchorIsTrustedAndNoOther) {
    RunningServer server(secureServer());
    const Outcome outcome = connectedDirectly(server.target(), trusted);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "hello\n");
    EXPECT_THAT(outcome.errors, HasSubstr("connected to " + server.target() + ": TLS 1.2 with "));
    EXPECT_EQ(connectedDirectly(server.target(), {"--tls"}).status, 5);
}

TEST(DirectTls, anchorsOfTheCertificateFolderStayTrusted) {
    RunningServer server(secureServer());
    const std::string other = fileOf("untrusted", "cert");
    const Words folder = {"--certificates", pki::folder().string()};
    EXPECT_EQ(connectedDirectly(server.target(), Words{"--tls", "--root", other} + folder).status,
              0);
}

TEST(DirectTls, nameIsThatOfTheHostUnlessAnotherIsGiven) {
    RunningServer server(secureServer(pki::otherName));
    EXPECT_EQ(connectedDirectly(server.target(), trusted).status, 6);
    const Outcome named =
        connectedDirectly(server.target(), trusted + Words{"--name", "elsewhere.test"});
    EXPECT_EQ(named.status, 0) << named.errors;
    EXPECT_EQ(named.output, "hello\n");
}

TEST(DirectTls, nameThatAnAuthorityExcludesIsRefusedThoughAWildcardCoversIt) {
    const CoveredName covered = makeCoveredName();
    const std::string certificate = covered.certificate.string();
    ForeignServer server({"-cert", certificate, "-key", certificate});
    const Words asked = {"--tls", "--root", covered.authority.string(), "--name"};
    EXPECT_EQ(connectedDirectly(server.target(), asked + Words{"good.wild.test"}).status, 0);
    EXPECT_EQ(connectedDirectly(server.target(), asked + Words{"evil.wild.test"}).status, 5);
}

TEST(DirectTls, unresolvedHostIsNamedAndNotTheOtherName) {
    const Outcome outcome =
        connectedDirectly("no-such-host.invalid:1", {"--tls", "--name", "localhost"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.errors, HasSubstr("cannot resolve [no-such-host.invalid]"));
}

// A server that requires a certificate, and talks with who has one that it trusts.
void expectTalk(const Words& own) {
    ForeignServer server({"-Verify", "1", "-verify_return_error"});
    Command client(connectTo(server.target(), trusted + own), Command::Input::open());
    client.say("abc\n");
    EXPECT_TRUE(client.shows("cba")) << client.errors();
    client.closeInput();
    EXPECT_EQ(client.exitStatus(), 0) << client.errors();
}

TEST(DirectTls, ownCertificateIsSentFromItsFiles) {
    expectTalk({"--certificate", fileOf("client", "cert"), "--key", fileOf("client", "key")});
}

TEST(DirectTls, ownCertificateMayBeInOneFileWithItsKey) {
    expectTalk({"--certificate", (pki::folder() / "my" / "client.pem").string()});
}

TEST(DirectTls, ownCertificateMayBePkcs12WithItsPasswordBesideIt) {
    const auto file = freshFile(".p12");
    Command made({"openssl", "pkcs12", "-export", "-in", fileOf("client", "cert"), "-inkey",
                  fileOf("client", "key"), "-passout", "pass:four words", "-out", file.string()});
    ASSERT_EQ(made.exitStatus(), 0) << made.errors();
    std::filesystem::copy_file(Command::Input::text("four words\n").path,
                               file.string() + ".password");
    expectTalk({"--certificate", file.string()});
}

TEST(DirectTls, certificateWithoutItsKeyIsOurFault) {
    const Outcome outcome = connectedDirectly(
        "localhost:1", trusted + Words{"--certificate", fileOf("client", "cert")});
    EXPECT_EQ(outcome.status, 7) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr("[" + fileOf("client", "cert") + "] can't be used: "));
}

// Needs OpenSSL's legacy provider, to make the file.
TEST(DirectTls, legacyCipherIsReportedWithTheCommandThatConvertsTheNamedFile) {
    const auto file = freshFile(".p12");
    Command made({"openssl", "pkcs12", "-export", "-legacy", "-in", fileOf("client", "cert"),
                  "-inkey", fileOf("client", "key"), "-passout", "pass:", "-out", file.string()});
    if (made.exitStatus() != 0) {
        GTEST_SKIP() << "no legacy provider: " << made.errors();
    }
    const Outcome outcome =
        connectedDirectly("localhost:1", trusted + Words{"--certificate", file.string()});
    EXPECT_EQ(outcome.status, 7);
    EXPECT_THAT(outcome.errors, HasSubstr(" -in " + file.string() + " -noenc -out "));
}

TEST(DirectTls, unusableFileOfTheFolderIsNoNamedCertificate) {
    const auto folder = emptyFolder();
    std::filesystem::create_directory(folder / "my");
    std::filesystem::copy_file(fileOf("client", "cert"), folder / "my" / "own.pem");
    EXPECT_EQ(
        connectedDirectly("localhost:1", trusted + Words{"--certificates", folder.string()}).status,
        2);
}

TEST(DirectTls, unusableAnchorIsUsage) {
    for (const std::string file : {"/nowhere/at.pem", "/dev/null"}) {
        const Outcome outcome = connectedDirectly("localhost:1", {"--tls", "--root", file});
        EXPECT_EQ(outcome.status, 1) << outcome.errors;
        EXPECT_THAT(outcome.errors, HasSubstr("[" + file + "]"));
    }
}

TEST(DirectTls, beginsLaterWithStarttls) {
    RunningServer server(switchableServer() + Words{"--starttls", "smtp"});
    const Outcome outcome = connectedDirectly(
        server.target(), trusted + Words{"--starttls", "smtp"}, Command::Input::text("QUIT\r\n"));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr(": TLS 1.2 with "));
}

TEST(DirectTls, excludesAConfigurationFile) {
    EXPECT_EQ(connectedDirectly("localhost:1", {"--tls", "--ini", "some.ini"}).status, 1);
    EXPECT_EQ(connectedDirectly("localhost:1", {"--name", "localhost"}).status, 1);
}

TEST(DirectTls, unusableAnchorIsUsageBesideARelativeTemporaryFolder) {
    Command command({"env", "-C", emptyFolder().string(), "TMPDIR=.", VEXASSL_TOOL, "connect",
                     "localhost:1", "--tls", "--root", "/dev/null"});
    EXPECT_EQ(command.exitStatus(), 1) << command.errors();
}

class TemporaryFiles : public testing::Test {
protected:
    Words client(const std::string& target) const {
        return Words{"env", "TMPDIR=" + folder.string()} +
               connectTo(target, trusted + Words{"--certificate", fileOf("client", "cert"), "--key",
                                                 fileOf("client", "key")});
    }
    bool isEmpty() const { return std::filesystem::is_empty(folder); }

    const std::filesystem::path folder = emptyFolder();
    RunningServer server{secureServer()};
};

TEST_F(TemporaryFiles, areLinksInAPrivateFolderWhileItRuns) {
    Command command(client(server.target()), Command::Input::open());
    ASSERT_TRUE(command.complains("connected to")) << command.errors();
    ASSERT_FALSE(isEmpty());
    const auto own = std::filesystem::directory_iterator(folder)->path();
    EXPECT_EQ(std::filesystem::status(own).permissions(), std::filesystem::perms::owner_all);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(own)) {
        EXPECT_TRUE(entry.is_symlink() || entry.is_directory()) << entry.path();
    }
    command.closeInput();
    EXPECT_EQ(command.exitStatus(), 0) << command.errors();
    EXPECT_TRUE(isEmpty());
}

TEST_F(TemporaryFiles, areRemovedAfterASignal) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        Command command(client(server.target()), Command::Input::open());
        ASSERT_TRUE(command.complains("connected to")) << command.errors();
        ASSERT_FALSE(isEmpty());
        command.signal(number);
        EXPECT_EQ(command.exitStatus(), 128 + number);
        EXPECT_TRUE(isEmpty());
    }
}

// The hint of a failed connection is a command that works as it stands.
TEST(FailedConnect, namesTheCommandThatShowsWhy) {
    const auto hintOf = [](const Outcome& outcome) {
        const std::string before = "\nvexassl: note: this shows why: vexassl ";
        const std::size_t start = outcome.errors.find(before) + before.size();
        EXPECT_TRUE(outcome.errors.ends_with("\n"));
        return outcome.errors.substr(start, outcome.errors.size() - 1 - start);
    };
    const auto shown = [](const std::string& command) {
        Command shell({"sh", "-c", "'" VEXASSL_TOOL "' " + command});
        return runToEnd(shell);
    };
    RunningServer other(secureServer(pki::otherName));
    const std::string byFlags = hintOf(connectedDirectly(other.target(), trusted));
    EXPECT_EQ(byFlags, "explain " + other.target() + " --root " + fileOf("authority", "cert"));
    EXPECT_EQ(shown(byFlags).status, 6);
    RunningServer untrusted(secureServer(pki::untrusted));
    const Words configuredClient = secureClient();
    const std::string byFile = hintOf(connectedDirectly(untrusted.target(), configuredClient));
    EXPECT_EQ(byFile,
              "explain " + untrusted.target() + " --certificates " + pki::folder().string());
    EXPECT_THAT(shown(byFile).output, HasSubstr("missing-issuer: "));
    const std::string ofOwn = hintOf(connectedDirectly(
        other.target(), secureClient({{"ClientCertificateToSendName", "nobody at all"}})));
    EXPECT_THAT(ofOwn, testing::StartsWith("check --ini "));
    EXPECT_EQ(shown(ofOwn).status, 7);
    EXPECT_THAT(connectedDirectly(untrusted.target(), configuredClient + Words{"--quiet"}).errors,
                Not(HasSubstr("note: ")));
    EXPECT_THAT(connectedDirectly(untrusted.target(), configuredClient + Words{"--json"}).errors,
                HasSubstr("{\"type\":\"note\",\"id\":\"hint\",\"message\":\"this shows why: "
                          "vexassl explain "));
}

TEST(PlainConnect, isNoted) {
    RunningServer server(plainText());
    const Outcome outcome = connectedDirectly(server.target(), {});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, plainTextNote);
    EXPECT_THAT(connectedDirectly(server.target(), configured({{"UseEncryption", "False"}})).errors,
                Not(HasSubstr("neither")));
}

} // namespace
} // namespace VexaSsl::test
