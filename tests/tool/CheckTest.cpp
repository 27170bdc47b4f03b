// check as a user sees it: values and their origins, whether they are valid, certificates.
#include "tool/Checked.h"
#include "tool/StrangeCertificates.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include <sys/stat.h>

namespace VexaSsl::test {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

std::string storeWith(const std::string& options) {
    return "[Connections]\nTested=Secure\n[Secure]\n" + options;
}

TEST(Check, everyOptionIsShownWithItsOrigin) {
    const Configured files(storeWith("UseEncryption=True\nMinimumSeverityToLog=Debug\n"
                                     "ServerCertificateToSendName=" +
                                     pki::localhost + "\n"));
    const Outcome outcome = checked(files.ini);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    const std::string place = files.store.string() + ":";
    EXPECT_THAT(outcome.output,
                ContainsRegex("UseEncryption +True +" + place + "4 \\[Secure\\]\n"));
    EXPECT_THAT(outcome.output,
                ContainsRegex("MinimumSeverityToLog +Debug +" + place + "5 \\[Secure\\]\n"));
    for (const char* text :
         {"RequireClientAuthentication +False +default\n",
          "ClientCertificateToSendName +None +default\n",
          "AcceptableClientCertificateToReceiveNames +Any +default\n",
          "InjectLogLayers +False +default\n", "ConnectionName +Tested +the connection name\n",
          "LibraryInvocationPurpose +SecureCommunication +default\n"}) {
        EXPECT_THAT(outcome.output, ContainsRegex(text));
    }
    EXPECT_THAT(outcome.output,
                HasSubstr("store        " + files.store.string() + " (" + files.ini.string() +
                          ":2)\nsection      Secure (" + place + "2)\n"));
    EXPECT_THAT(outcome.output, HasSubstr("start        TLS from the first byte\n"));
}

TEST(Check, withoutAnIniFileTheDefaultsAreShown) {
    const Outcome outcome = runTool({"check"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, ContainsRegex("UseEncryption +False +default\n"));
    EXPECT_THAT(outcome.output, HasSubstr("start        plain text\n"));
}

TEST(Check, sectionOfTheDefaultEntryIsShown) {
    const Configured files("[Connections]\nDefault=Secure\n[Secure]\nInjectLogLayers=True\n");
    const Outcome outcome = checked(files.ini);
    EXPECT_THAT(outcome.output, HasSubstr(":2, the entry Default)\n"));
    EXPECT_THAT(outcome.output, ContainsRegex("InjectLogLayers +True +.*:4 \\[Secure\\]"));
}

TEST(Check, badValueOfEitherHolderFailsAtItsLine) {
    const Configured files(
        storeWith("UseEncryption=Perhaps\nRequireClientAuthentication=Yes\n"
                  "ServerCertificateToSendName=none\nMinimumSeverityToLog=Error\n"));
    const Outcome outcome = checked(files.ini);
    EXPECT_EQ(outcome.status, 1) << outcome.errors;
    const auto found = findings(outcome, "bad-value");
    ASSERT_THAT(found, SizeIs(4));
    const std::string place = files.store.string() + ":";
    EXPECT_EQ(found[0], place + "4: error: Supplied value [Perhaps] of UseEncryption is invalid: a "
                                "start is refused");
    EXPECT_EQ(found[1], place + "5: error: Supplied value [Yes] of RequireClientAuthentication is "
                                "invalid: every secure connection fails");
    EXPECT_EQ(found[2],
              place + "6: error: Supplied value [none] of ServerCertificateToSendName is invalid. "
                      "Servers MUST send certificates: every secure connection fails");
    EXPECT_THAT(found[3], HasSubstr("Supplied value [Error] of MinimumSeverityToLog is invalid"));
    EXPECT_THAT(outcome.output, HasSubstr("start        none: a start is refused\n"));
    EXPECT_EQ(failureLines(outcome.errors), 1);
}

TEST(Check, opportunisticConnectionIsDistinguished) {
    const Configured files(storeWith("UseEncryption=OPPORTUNISTICALLY\n"));
    const Outcome outcome = checked(files.ini);
    EXPECT_THAT(outcome.output,
                HasSubstr("start        plain text until the program starts TLS\n"));
}

TEST(Check, certificatesOfBothRolesAreTried) {
    const Configured files(
        storeWith("UseEncryption=True\nServerCertificateToSendName=" + pki::localhost +
                  "\nClientCertificateToSendName=" + pki::client + "\n"));
    const Outcome outcome = checked(files.ini);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, ContainsRegex("as a server .*localhost.*its key can be used\n"));
    EXPECT_THAT(outcome.output, ContainsRegex("as a client .*client.test.*its key can be used\n"));
}

TEST(Check, configuredCertificateThatIsMissingFails) {
    const Configured files(
        storeWith("UseEncryption=True\nServerCertificateToSendName=nobody at all\n"));
    const Outcome outcome = checked(files.ini);
    EXPECT_EQ(outcome.status, 7) << outcome.errors;
    EXPECT_THAT(firstFinding(outcome, "own-certificate"),
                HasSubstr("Was not able to find a certificate with the name [nobody at all]"));
}

TEST(Check, missingDefaultCertificateFailsOnlyForTheRequestedRole) {
    const Configured files(storeWith("UseEncryption=True\n"));
    const auto empty = freshFile(".folder");
    std::filesystem::create_directory(empty);
    const Words store = {"check",  "--ini",          files.ini.string(), "--connection",
                         "Tested", "--certificates", empty.string()};
    EXPECT_EQ(runTool(store + Words{"--strict"}).status, 0);
    EXPECT_EQ(runTool(store + Words{"--role", "client"}).status, 0);
    const Outcome server = runTool(store + Words{"--role", "server"});
    EXPECT_EQ(server.status, 7);
    EXPECT_THAT(server.errors, HasSubstr("as a server: no usable certificate and key: Tried to "
                                         "find a default certificate, but none were suitable"));
}

// The superuser may read every folder, so another user is asked.
TEST(Check, storeThatCannotBeOpenedIsTheCause) {
    namespace fs = std::filesystem;
    const Configured files(storeWith("UseEncryption=True\nServerCertificateToSendName=one.test\n"));
    const OwnCertificates own;
    fs::permissions(own.folder / "my", fs::perms::none);
    const Words check = boundByPermissions() +
                        Words{VEXASSL_TOOL,   "check",  "--ini",          files.ini.string(),
                              "--connection", "Tested", "--certificates", own.folder.string()};
    Command prose(check);
    const Outcome told = runToEnd(prose);
    EXPECT_EQ(told.status, 7) << told.errors;
    EXPECT_THAT(firstFinding(told, "own-certificate"),
                HasSubstr("as a server: no usable certificate and key: CertOpenStore failed with: "
                          "5 ("));
    Command json(check + Words{"--json"});
    EXPECT_THAT(runToEnd(json).output, HasSubstr("\"cause\":\"CertOpenStore failed with: 5 ("));
}

TEST(Check, unusedFileIsANoteWhenACertificateIsMissing) {
    const Configured files(storeWith("UseEncryption=True\nServerCertificateToSendName=one.test\n"));
    const OwnCertificates own;
    own.put("one.pem", contents(pki::file("server-rsa", "cert")));
    const Words store = {"check",  "--ini",          files.ini.string(), "--connection",
                         "Tested", "--certificates", own.folder.string()};
    const Outcome missing = runTool(store);
    EXPECT_EQ(missing.status, 7);
    EXPECT_THAT(missing.errors, HasSubstr((own.folder / "my" / "one.pem").string() +
                                          ": note: not used: it has no private key"));
    own.putCase("two-names");
    const Outcome found = runTool(store);
    EXPECT_EQ(found.status, 0);
    EXPECT_THAT(found.errors, Not(HasSubstr("[unused-file]")));
}

// Whoever has the key can pass for the server. Above a folder that is closed to others nothing of
// it can be read by them.
TEST(Check, keyReadableByEveryAccountIsANote) {
    using std::filesystem::perms;
    const Configured files(storeWith("UseEncryption=True\n"));
    const OwnCertificates own;
    own.put("one.pem", contents(pki::file("server-rsa", "cert")));
    own.put("one.key", contents(pki::file("server-rsa", "key")));
    own.put("two.pem",
            contents(pki::file("server-rsa", "cert")) + contents(pki::file("server-rsa", "key")));
    const std::filesystem::path my = own.folder / "my";
    const auto exposed = [&] {
        return findings(runTool({"check", "--ini", files.ini.string(), "--connection", "Tested",
                                 "--certificates", own.folder.string()}),
                        "exposed-key");
    };
    const auto allow = [](const std::filesystem::path& path, perms right) {
        std::filesystem::permissions(path, right, std::filesystem::perm_options::add);
    };
    const auto forbid = [](const std::filesystem::path& path, perms right) {
        std::filesystem::permissions(path, right, std::filesystem::perm_options::remove);
    };
    for (const char* name : {"one.pem", "one.key", "two.pem"}) {
        allow(my / name, perms::others_read);
    }
    for (const std::filesystem::path& folder : {own.folder.parent_path(), own.folder, my}) {
        allow(folder, perms::others_exec);
    }
    EXPECT_THAT(exposed(), ElementsAre(StartsWith((my / "one.key").string() + ": note: "),
                                       StartsWith((my / "two.pem").string() + ": note: ")));
    forbid(my / "one.key", perms::others_read);
    EXPECT_THAT(exposed(), ElementsAre(StartsWith((my / "two.pem").string())));
    forbid(my, perms::others_exec);
    EXPECT_THAT(exposed(), IsEmpty());
}

TEST(Check, linkedKeyIsCheckedAtItsTarget) {
    using std::filesystem::perms;
    const Configured files(storeWith("UseEncryption=True\n"));
    const OwnCertificates own;
    const std::filesystem::path closed = own.folder / "closed";
    std::filesystem::create_directory(closed);
    own.put("one.pem", contents(pki::file("server-rsa", "cert")));
    std::filesystem::copy_file(pki::file("server-rsa", "key"), closed / "secret");
    std::filesystem::create_symlink(closed / "secret", own.folder / "my" / "one.key");
    EXPECT_EQ(::mkfifo((own.folder / "my" / "two.pem").c_str(), 0644), 0);
    const auto exposed = [&] {
        return findings(runTool({"check", "--ini", files.ini.string(), "--connection", "Tested",
                                 "--certificates", own.folder.string()}),
                        "exposed-key");
    };
    const auto add = std::filesystem::perm_options::add;
    std::filesystem::permissions(closed / "secret", perms::others_read, add);
    for (const auto& folder : {own.folder.parent_path(), own.folder, own.folder / "my"}) {
        std::filesystem::permissions(folder, perms::others_exec, add);
    }
    std::filesystem::permissions(closed, perms::owner_all);
    EXPECT_THAT(exposed(), IsEmpty());
    std::filesystem::permissions(closed, perms::others_exec, add);
    EXPECT_THAT(exposed(),
                ElementsAre(StartsWith((own.folder / "my" / "one.key").string() + ": note: ")));
}

TEST(Check, severalCertificatesWithTheNameAreANote) {
    const Configured files(
        storeWith("UseEncryption=True\nServerCertificateToSendName=case server\n"));
    const Outcome outcome = checked(files.ini, {"--strict"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(firstFinding(outcome, "several-certificates"),
                ContainsRegex("as a server: [0-9]+ certificates have the name; the last one"));
}

TEST(Check, expiredCertificateIsAWarning) {
    const Configured files(
        storeWith("UseEncryption=True\nServerCertificateToSendName=" + pki::expired + "\n"));
    const Outcome outcome = checked(files.ini, {"--strict"});
    EXPECT_EQ(outcome.status, 20) << outcome.errors;
    EXPECT_THAT(findings(outcome, "certificate-expired"), SizeIs(1));
}

TEST(Check, certificateThatIsNotYetValidIsAWarning) {
    const Configured files(
        storeWith("UseEncryption=True\nServerCertificateToSendName=" + pki::notYetValid + "\n"));
    const Outcome outcome = checked(files.ini, {"--strict"});
    EXPECT_EQ(outcome.status, 20) << outcome.errors;
    EXPECT_THAT(firstFinding(outcome, "certificate-not-yet-valid"),
                HasSubstr("as a server: the certificate of"));
    EXPECT_THAT(findings(outcome, "certificate-expired"), SizeIs(0));
}

TEST(Check, weakCertificateIsNamedWithItsSize) {
    const Configured files(
        storeWith("UseEncryption=True\nServerCertificateToSendName=case weak\n"));
    struct Case {
        std::string pem;
        const char* reason;
    };
    for (const Case& each :
         {Case{contents(pki::file("weak-key", "cert")) + contents(pki::file("weak-key", "key")),
               "): its RSA key has 1024 bits, and TLS asks for 2048 or more"},
          Case{contents(withWeakSignature()),
               "): it is signed with SHA-1, and TLS asks for SHA-256 or better"}}) {
        const OwnCertificates own;
        own.put("one.pem", each.pem);
        const Outcome outcome = runTool({"check", "--ini", files.ini.string(), "--connection",
                                         "Tested", "--certificates", own.folder.string()});
        EXPECT_EQ(outcome.status, 7);
        EXPECT_THAT(firstFinding(outcome, "own-certificate"), HasSubstr(each.reason));
        EXPECT_THAT(outcome.output, HasSubstr(each.reason));
    }
}

// What certificates shows as not trusted: each of the three works in a handshake of its own side.
TEST(Check, certificateThatNoClientWillTrustIsAWarning) {
    struct Case {
        std::string name;
        const char* reason;
    };
    for (const Case& each : {Case{pki::missingIntermediate, "is neither sent along nor known here"},
                             Case{pki::clientOnly, "it isn't meant for server authentication"},
                             Case{pki::selfSigned, "it is signed by itself"},
                             Case{pki::signedByALeaf, "but isn't an authority"}}) {
        const Configured files(
            storeWith("UseEncryption=True\nServerCertificateToSendName=" + each.name + "\n"));
        const Outcome outcome = checked(files.ini, {"--role", "server", "--strict"});
        EXPECT_EQ(outcome.status, 20) << outcome.errors;
        EXPECT_THAT(
            firstFinding(outcome, "certificate-not-trusted"),
            AllOf(StartsWith("warning: as a server: clients that trust"), HasSubstr(each.reason)))
            << outcome.errors;
    }
}

TEST(Check, clientsCertificateThatNoServerWillTrustIsAWarning) {
    const Configured files(storeWith(
        "UseEncryption=True\nClientCertificateToSendName=" + pki::untrustedClient + "\n"));
    const Outcome outcome = checked(files.ini, {"--role", "client", "--strict"});
    EXPECT_EQ(outcome.status, 20) << outcome.errors;
    EXPECT_THAT(firstFinding(outcome, "certificate-not-trusted"),
                StartsWith("warning: as a client: servers that trust"));
}

TEST(Check, validityOfACertificateIsOneFinding) {
    const Configured files(
        storeWith("UseEncryption=True\nServerCertificateToSendName=" + pki::expired + "\n"));
    EXPECT_THAT(findings(checked(files.ini), "certificate-not-trusted"), IsEmpty());
}

TEST(Check, plainConnectionNeedsNoCertificate) {
    const Configured files(storeWith("ServerCertificateToSendName=nobody at all\n"));
    const Outcome outcome = checked(files.ini, {"--role", "server", "--strict"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(findings(outcome, "plain-text"), SizeIs(1));
}

TEST(Check, jsonIsOneObjectALineAndAllOnStandardOutput) {
    const Configured files(storeWith("UseEncryption=True\nColour=\"red\\\"\n\nx=1\n"
                                     "ServerCertificateToSendName=M\xC3\xBCller\n"));
    const Outcome outcome = checked(files.ini, {"--json", "--role", "client"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    const std::string store = "\"file\":\"" + files.store.string() + "\"";
    for (
        const std::string& line :
        {"{\"type\":\"configuration\",\"connection\":\"Tested\",\"ini\":\"" + files.ini.string() +
             "\",\"store\":\"" + files.store.string() +
             "\",\"section\":\"Secure\",\"line\":2,\"defaultEntry\":false,\"start\":\"tls\"}\n",
         "{\"type\":\"option\",\"name\":\"UseEncryption\",\"value\":\"True\",\"source\":\"file\"," +
             store + ",\"section\":\"Secure\",\"line\":4}\n",
         std::string("{\"type\":\"option\",\"name\":\"ConnectionName\",\"value\":\"Tested\","
                     "\"source\":\"argument\"}\n"),
         std::string("{\"type\":\"role\",\"role\":\"client\",\"usable\":true,\"choice\":\"none\","),
         "{\"type\":\"warning\",\"id\":\"unknown-option\"," + store + ",\"line\":5,\"message\":",
         "{\"type\":\"warning\",\"id\":\"blank-line-in-section\"," + store + ",\"line\":6,",
         std::string("{\"type\":\"result\",\"errors\":0,\"warnings\":")}) {
        EXPECT_THAT(outcome.output, HasSubstr(line));
    }
    EXPECT_THAT(outcome.output, Not(HasSubstr("\"role\":\"server\"")));
}

TEST(Check, jsonOfAFailureEndsWithItsStatus) {
    const Outcome outcome = checked("/no/such.ini", {"--json"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(failureLines(outcome.errors), 1);
    EXPECT_THAT(outcome.output, HasSubstr("\"id\":\"unreadable-file\""));
    EXPECT_TRUE(outcome.output.ends_with(
        "{\"type\":\"result\",\"errors\":1,\"warnings\":0,\"status\":1}\n"))
        << outcome.output;
}

TEST(Check, noColourAndNoControlCharacterGoesToAFile) {
    const Configured files(storeWith("Use\x1B[31mEncryption=True\n"));
    const Outcome outcome = checked(files.ini);
    EXPECT_THAT(outcome.output + outcome.errors, Not(HasSubstr("\x1B")));
}

TEST(Check, coloursAreForTerminalsThatAllowThem) {
    const auto onTerminal = [](const std::string& environment) {
        Command command(
            {"script", "-qec", "env " + environment + " " VEXASSL_TOOL " check", "/dev/null"});
        EXPECT_EQ(command.exitStatus(), 0) << command.errors();
        return command.output();
    };
    EXPECT_THAT(onTerminal("-u NO_COLOR TERM=xterm"), HasSubstr("\x1B[1mconnection"));
    for (const char* environment : {"NO_COLOR=1 TERM=xterm", "-u NO_COLOR TERM=dumb"}) {
        const std::string output = onTerminal(environment);
        EXPECT_THAT(output, HasSubstr("connection"));
        EXPECT_THAT(output, Not(HasSubstr("\x1B")));
    }
}

TEST(Check, wrongArgumentsAreUsage) {
    for (const Words& arguments :
         {Words{"--ini"}, Words{"--ini", ""}, Words{"--connection", "Lonely"},
          Words{"--role", "king"}, Words{"stray"}, Words{"--certificates", "/no/such/folder"}}) {
        const Outcome outcome = runTool(Words{"check"} + arguments);
        EXPECT_EQ(outcome.status, 1) << outcome.errors;
        EXPECT_EQ(failureLines(outcome.errors), 1) << outcome.errors;
        EXPECT_EQ(outcome.output, "");
    }
}

TEST(Check, whatCheckRefusesAConnectionRefusesToo) {
    const Configured files(storeWith("UseEncryption=Perhaps\n"));
    EXPECT_EQ(checked(files.ini).status, 1);
    EXPECT_EQ(
        runTool({"connect", "localhost:1", "--ini", files.ini.string(), "--connection", "Tested"})
            .status,
        1);
}

} // namespace
} // namespace VexaSsl::test
