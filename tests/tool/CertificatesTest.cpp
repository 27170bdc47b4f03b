// vexassl certificates: the list, who picks what, the filters, and bad input.
#include "tool/StrangeCertificates.h"
#include "tool/Tool.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

Outcome listed(const OwnCertificates& own, const Words& more = {}) {
    return runTool(Words{"certificates", "--certificates", own.folder.string()} + more);
}

// The arguments for a store of this text.
Words configuredBy(const std::string& storeText) {
    const auto store = freshFile(".store");
    std::ofstream(store) << storeText;
    const auto ini = freshFile(".ini");
    std::ofstream(ini) << "[VexaSsl]\nConfigurationStore=" << store.string() << "\n";
    return {"--ini", ini.string()};
}

void expectUsage(const Outcome& outcome, const std::string& line) {
    EXPECT_EQ(outcome.status, 1) << outcome.output;
    EXPECT_EQ(failureLines(outcome.errors), 1) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr(line));
}

TEST(Certificates, entryIsShownWithFactsKeyAndTrust) {
    const OwnCertificates own;
    own.putCase("two-names");
    const Outcome outcome = listed(own);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(outcome.output, StartsWith("1 of 1 certificates in the personal store\n\n"
                                           "[1] one.test\n"
                                           "    subject     O=case two-names, CN=one.test\n"));
    EXPECT_THAT(outcome.output, HasSubstr("    names       one.test, two.test\n"));
    EXPECT_THAT(outcome.output, HasSubstr(" days left)\n"));
    EXPECT_THAT(outcome.output, HasSubstr("    key         there, and usable by this account\n"
                                          "    as server   trusted\n"
                                          "    as client   not trusted: "
                                          "CertVerifyCertificateChainPolicy returned status: "
                                          "2148204816 ("));
}

TEST(Certificates, emptyStoreIsWell) {
    const OwnCertificates own;
    const Outcome outcome = listed(own);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "0 of 0 certificates in the personal store\n");
    EXPECT_EQ(listed(own, {"--json"}).output, "");
}

TEST(Certificates, keyFaultsAreDistinguished) {
    const OwnCertificates own;
    const auto both = [](const std::string& name) {
        return contents(pki::file(name, "cert")) + contents(pki::file(name, "key"));
    };
    own.put("a.pem", both("encrypted-key"));
    own.put("b.pem", both("weak-key"));
    const Outcome person = listed(own);
    EXPECT_THAT(person.output, HasSubstr("key         there, but this account can't use it"));
    EXPECT_THAT(person.output, HasSubstr("key         refused: 2148074289 ("));
    EXPECT_THAT(person.output,
                HasSubstr("): its RSA key has 1024 bits, and TLS asks for 2048 or more\n"));
    const Outcome script = listed(own, {"--json"});
    EXPECT_THAT(script.output, HasSubstr("\"key\":\"unreadable\",\"keyStatus\":\"2148074253 ("));
    EXPECT_THAT(script.output, HasSubstr("\"key\":\"refused\""));
}

TEST(Certificates, weakSignatureIsNamed) {
    const OwnCertificates own;
    own.put("a.pem", contents(withWeakSignature()));
    EXPECT_THAT(listed(own).output,
                HasSubstr("): it is signed with SHA-1, and TLS asks for SHA-256 or better\n"));
}

TEST(Certificates, pemIsTheCertificatesOfTheList) {
    const OwnCertificates own;
    own.putCase("server-rsa");
    own.putCase("client");
    EXPECT_EQ(listed(own, {"--pem"}).output,
              contents(pki::file("client", "cert")) + contents(pki::file("server-rsa", "cert")));
    EXPECT_EQ(listed(own, {"--pem", "--usable-for", "client"}).output,
              contents(pki::file("client", "cert")));
}

// The superuser may read every file, so another user is asked.
TEST(Certificates, keyThatThisAccountMayNotReadIsNotUsable) {
    namespace fs = std::filesystem;
    const OwnCertificates own;
    own.put("one.pem", contents(pki::file("server-rsa", "cert")));
    own.put("one.key", contents(pki::file("server-rsa", "key")));
    fs::permissions(own.folder / "my" / "one.key", fs::perms::none);
    Command command(boundByPermissions() + Words{VEXASSL_TOOL, "certificates", "--json",
                                                 "--certificates", own.folder.string()});
    const Outcome outcome = runToEnd(command);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("\"key\":\"unreadable\""));
    EXPECT_THAT(outcome.output, HasSubstr("\"server\":{\"trusted\":true,\"usable\":false}"));
}

TEST(Certificates, unusedFileIsListedWithTheReason) {
    const OwnCertificates own;
    own.put("one.pem", contents(pki::file("server-rsa", "cert")));
    own.put("one.key", contents(pki::file("server-ecdsa", "key")));
    const std::string file = (own.folder / "my" / "one.pem").string();
    const Outcome person = listed(own);
    EXPECT_EQ(person.status, 0);
    EXPECT_EQ(person.output, "0 of 0 certificates in the personal store\n\n"
                             "files that are not used, and why:\n    " +
                                 file + ": the private key belongs to another certificate\n");
    EXPECT_EQ(listed(own, {"--json"}).output,
              "{\"type\":\"unused\",\"file\":\"" + file +
                  "\",\"reason\":\"foreign-key\",\"text\":\"the private key belongs to another "
                  "certificate\"}\n");
}

// Needs OpenSSL's legacy provider, to make the file and to convert it.
TEST(Certificates, legacyCipherOfPkcs12IsNamedWithTheCommandThatConvertsIt) {
    const OwnCertificates own;
    const auto file = own.folder / "my" / "old one.p12";
    Command made({"openssl", "pkcs12", "-export", "-legacy", "-in",
                  pki::file("client", "cert").string(), "-inkey",
                  pki::file("client", "key").string(), "-passout", "pass:four", "-out",
                  file.string()});
    if (made.exitStatus() != 0) {
        GTEST_SKIP() << "no legacy provider: " << made.errors();
    }
    own.put("old one.p12.password", "three\n");
    EXPECT_THAT(listed(own, {"--json"}).output, HasSubstr("\"reason\":\"wrong-password\""));
    own.put("old one.p12.password", "four\n");
    EXPECT_THAT(listed(own, {"--json"}).output, HasSubstr("\"reason\":\"unsupported-cipher\""));
    const std::string output = listed(own).output;
    EXPECT_THAT(output, HasSubstr(file.string() + ": it is encrypted with RC2-40-CBC, "));
    const std::string before = "convert it with: ";
    const std::size_t start = output.find(before) + before.size();
    const std::string command = output.substr(start, output.find('\n', start) - start);
    Command conversion({"sh", "-c", command + " -passin pass:four"});
    EXPECT_EQ(conversion.exitStatus(), 0) << command << conversion.errors();
    EXPECT_THAT(listed(own).output, StartsWith("1 of 1 certificates"));
}

TEST(Certificates, usableForAPurposeListsNoOthers) {
    const OwnCertificates own;
    for (const char* name : {"client", "expired", "server-rsa", "untrusted"}) {
        own.putCase(name);
    }
    const Outcome servers = listed(own, {"--usable-for", "server"});
    EXPECT_EQ(servers.status, 0);
    EXPECT_THAT(servers.output, StartsWith("1 of 4 certificates"));
    EXPECT_THAT(servers.output, HasSubstr("O=case server-rsa,"));
    const Outcome clients = listed(own, {"--usable-for", "CLIENT"});
    EXPECT_THAT(clients.output, HasSubstr("O=case client,"));
    EXPECT_THAT(clients.output, Not(HasSubstr("O=case server-rsa,")));
}

TEST(Certificates, noneUsableHasItsOwnStatus) {
    const OwnCertificates own;
    own.putCase("client");
    const Outcome outcome = listed(own, {"--usable-for", "server"});
    EXPECT_EQ(outcome.status, 7);
    EXPECT_THAT(outcome.output, StartsWith("0 of 1 certificates"));
}

TEST(Certificates, statusSaysWhetherSomeExpire) {
    const OwnCertificates own;
    own.putCase("two-names");
    EXPECT_EQ(listed(own, {"--expiring", "30d"}).status, 0);
    EXPECT_EQ(listed(own, {"--expiring", "100000d"}).status, 21);
    EXPECT_EQ(listed(own, {"--expiring", "30d", "--usable-for", "server"}).status, 0);
    EXPECT_EQ(listed(own, {"--expiring", "30d", "--usable-for", "client"}).status, 7);
    own.putCase("expired");
    EXPECT_EQ(listed(own, {"--expiring", "30d", "--json"}).status, 21);
}

TEST(Certificates, expiringIncludesExpired) {
    const OwnCertificates own;
    own.putCase("expired");
    own.putCase("server-rsa");
    const Outcome soon = listed(own, {"--expiring", "30d"});
    EXPECT_EQ(soon.status, 21);
    EXPECT_THAT(soon.output, HasSubstr("O=case expired,"));
    EXPECT_THAT(soon.output, HasSubstr(" (expired)\n"));
    EXPECT_THAT(soon.output, Not(HasSubstr("O=case server-rsa,")));
    EXPECT_THAT(listed(own, {"--expiring", "100000d"}).output, StartsWith("2 of 2"));
}

TEST(Certificates, byNameTheLastIsTakenAndOthersHaveAReason) {
    const OwnCertificates own;
    for (const char* name : {"client", "server-ecdsa", "server-rsa"}) {
        own.putCase(name);
    }
    const Words settings = configuredBy("[Connections]\nDefault=S\n\n[S]\nUseEncryption=True\n"
                                        "ServerCertificateToSendName=case SERVER\n");
    const Outcome outcome = listed(own, settings);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(
        outcome.output,
        HasSubstr("connection [Default] as server: takes the last one with [case SERVER] in "
                  "its subject\n"
                  "    takes [3] localhost\n"
                  "    not [1] client.test: its subject doesn't have [case SERVER] in it\n"
                  "    not [2] localhost: another one that fits comes later in the store\n"));
    EXPECT_THAT(outcome.output,
                HasSubstr("connection [Default] as client: sends no certificate\n"));
}

TEST(Certificates, anySuitableOneOfAClientIsTakenByUsageAndTrust) {
    const OwnCertificates own;
    for (const char* name : {"client", "client-expired", "client-rsa", "server-rsa"}) {
        own.putCase(name);
    }
    const Outcome outcome =
        listed(own, configuredBy("[Connections]\nQLT=S\n\n[S]\nUseEncryption=True\n"
                                 "ClientCertificateToSendName=Any\n"));
    EXPECT_THAT(
        outcome.output,
        HasSubstr("connection [QLT] as client: takes the last one that is meant for clients "
                  "and is trusted\n"
                  "    takes [3] client.test\n"));
    EXPECT_THAT(outcome.output, HasSubstr("    not [1] client.test: it isn't trusted: "
                                          "CertVerifyCertificateChainPolicy returned status: "
                                          "2148204801 ("));
    EXPECT_THAT(outcome.output,
                HasSubstr("    not [2] client.test: another one that fits comes later"));
    EXPECT_THAT(outcome.output, HasSubstr("    not [4] localhost: it isn't marked for clients\n"));
}

TEST(Certificates, serverWithoutASuitableOneFailsAsAStartDoes) {
    const OwnCertificates own;
    own.putCase("server-rsa");
    const Outcome outcome =
        listed(own, configuredBy("[Connections]\nDefault=S\n\n[S]\nUseEncryption=True\n"));
    EXPECT_THAT(outcome.output,
                HasSubstr("    fails: Tried to find a default certificate, but none were suitable\n"
                          "    not [1] localhost: its subject doesn't have ["));
}

TEST(Certificates, keyThatCannotBeUsedFailsTheChoiceThatTakesIt) {
    const OwnCertificates own;
    own.put("a.pem", contents(pki::file("encrypted-key", "cert")) +
                         contents(pki::file("encrypted-key", "key")));
    const Outcome outcome =
        listed(own, configuredBy("[Connections]\nDefault=S\n\n[S]\nUseEncryption=True\n"
                                 "ServerCertificateToSendName=encrypted\n"));
    EXPECT_THAT(outcome.output, HasSubstr("    takes [1] localhost\n"
                                          "    fails: AcquireCredentialsHandle failed with: "
                                          "2148074253 ("));
}

TEST(Certificates, unencryptedConnectionsTakeNone) {
    const OwnCertificates own;
    const Outcome outcome =
        listed(own, configuredBy("[Connections]\nDefault=S\nPresentationClient=T\n\n[S]\n"
                                 "UseEncryption=False\n\n[T]\nUseEncryption=True\n"));
    EXPECT_THAT(outcome.output, HasSubstr("connection [Default] as server: isn't encrypted\n"));
    EXPECT_THAT(outcome.output,
                HasSubstr("connection [PresentationClient] as server: isn't encrypted: The "
                          "connection name [PresentationClient] is currently reserved for future "
                          "VexaSsl implementation\n"));
}

TEST(Certificates, badOptionIsReportedWithTheConnection) {
    const OwnCertificates own;
    const Outcome outcome =
        listed(own, configuredBy("[Connections]\nDefault=S\n\n[S]\nUseEncryption=True\n"
                                 "ServerCertificateToSendName=None\n"));
    EXPECT_THAT(outcome.output,
                HasSubstr("connection [Default] as server: has a bad option\n"
                          "    fails: Supplied value [None] of ServerCertificateToSendName is "
                          "invalid. Servers MUST send certificates\n"));
}

TEST(Certificates, onlyRequestedConnectionsAreTried) {
    const OwnCertificates own;
    const Words settings =
        configuredBy("[Connections]\nQLT=S\nDefault=S\n\n[S]\nUseEncryption=True\n");
    const Outcome outcome = listed(own, settings + Words{"--connection", "QLT"});
    EXPECT_THAT(outcome.output, HasSubstr("connection [QLT] as server"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("connection [Default]")));
}

TEST(Certificates, connectionsOfARepeatedSectionAreTheLaterOnes) {
    const OwnCertificates own;
    const Outcome outcome =
        listed(own, configuredBy("[Connections]\nOld=S\n\n[Connections]\nNew=S\nnew=S\n\n[S]\n"
                                 "UseEncryption=False\n"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("connection [Old]")));
    EXPECT_THAT(outcome.output, HasSubstr("connection [New] as server"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("connection [new]")));
}

// One parse for each would take hours.
TEST(Certificates, storeOfManyConnectionsIsReadOnce) {
    const OwnCertificates own;
    std::ostringstream store;
    store << "[Connections]\n";
    for (int i = 0; i < 20000; ++i) {
        store << "connection " << i << "=Clear\n";
    }
    store << "CONNECTION 0=Clear\n\n[Clear]\nUseEncryption=False\n";
    const Outcome outcome = listed(own, configuredBy(store.str()));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("connection 19999"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("CONNECTION 0")));
}

TEST(Certificates, libraryWalkLogsNamesAndBothVerdicts) {
    const OwnCertificates own;
    own.putCase("server-rsa");
    const Outcome outcome = listed(own, {"--log"});
    const std::string& output = outcome.output;
    EXPECT_THAT(output, HasSubstr("\nthe library logs about the store:\n"
                                  "    [Debug] Got a new certificate\n"
                                  "    [Info] All names on this certificate: [localhost] \n"
                                  "    [Debug] The certificate chain is trusted for server "
                                  "authentication\n"
                                  "    [Warning] CertVerifyCertificateChainPolicy returned status: "
                                  "2148204816 ("));
    EXPECT_THAT(output, HasSubstr("    [Info] This error applies to the certificate with the "
                                  "friendly name [localhost]\n"
                                  "    [Debug] No more certificates to enumerate\n"));
    EXPECT_THAT(output, Not(HasSubstr("CertEnumCertificatesInStore")));
}

TEST(Certificates, libraryWalkOfAnEmptyStoreIsOneLine) {
    const OwnCertificates own;
    EXPECT_THAT(
        listed(own, {"--log"}).output,
        HasSubstr("logs about the store:\n    [Debug] No more certificates to enumerate\n"));
}

TEST(Certificates, scriptGetsOneObjectALine) {
    const OwnCertificates own;
    own.putCase("client");
    own.putCase("server-rsa");
    const Outcome outcome =
        listed(own, configuredBy("[Connections]\nDefault=S\n\n[S]\nUseEncryption=True\n"
                                 "ServerCertificateToSendName=case server\n") +
                        Words{"--json"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_THAT(line, StartsWith("{\"type\":\""));
        EXPECT_EQ(line.back(), '}');
    }
    EXPECT_THAT(outcome.output, HasSubstr("\"key\":\"usable\",\"server\":{\"trusted\":true,"
                                          "\"usable\":true},\"client\":{\"trusted\":false,"
                                          "\"usable\":false,\"reason\":\"CertVerify"));
    EXPECT_THAT(outcome.output,
                HasSubstr("{\"type\":\"choice\",\"connection\":\"Default\",\"role\":\"server\","
                          "\"choice\":\"by-name\",\"text\":\"takes the last one with [case server] "
                          "in its subject\",\"certificate\":2,\"failure\":null}\n"
                          "{\"type\":\"loss\",\"connection\":\"Default\",\"role\":\"server\","
                          "\"certificate\":1,\"reason\":\"name\","));
}

TEST(Certificates, hostileNamesCannotControlTheTerminal) {
    const OwnCertificates own;
    own.put("a.pem", contents(makeStrange({"evil\x1b[2J\nconnection [Default]", {}})));
    const Outcome person = listed(own, {"--log"});
    EXPECT_EQ(person.output.find('\x1b'), std::string::npos);
    EXPECT_THAT(person.output, HasSubstr("evil?[2J?connection"));
    EXPECT_EQ(listed(own, {"--json", "--log"}).output.find('\x1b'), std::string::npos);
}

TEST(Certificates, badArgumentsAreUsage) {
    const OwnCertificates own;
    expectUsage(listed(own, {"--usable-for", "both"}), "--usable-for");
    expectUsage(listed(own, {"--connection", "QLT"}), "--ini");
    for (const char* days : {"30", "d", "-1d", "30 days", "99999999999999999999d"}) {
        expectUsage(listed(own, {"--expiring", days}), "is no number of days");
    }
    expectUsage(listed(own, {"--ini", "/nowhere.ini"}), "Can't open config file");
    expectUsage(runTool({"certificates", "--certificates", "/nowhere"}),
                "no certificate folder at [/nowhere]");
    expectUsage(listed(own, {"surplus"}), "see vexassl certificates --help");
}

TEST(Certificates, helpShowsFlagsAndExamples) {
    const Outcome outcome = runTool({"certificates", "--help"});
    EXPECT_EQ(outcome.status, 0);
    for (const char* text : {"--usable-for", "--expiring", "--pick", "--json", "--ini"}) {
        EXPECT_THAT(outcome.output, HasSubstr(text));
    }
}

} // namespace
} // namespace VexaSsl::test
