// vexassl explain on files and on the store: cause, element and remedy of every fault, the
// library's lines beside them, and bad input.
#include "tool/ExplainCases.h"
#include "tool/StrangeCertificates.h"

#include <gmock/gmock.h>

#include <sstream>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

// What the tool says of one element, from its line to the next one.
std::string elementOf(const std::string& output, const std::string& place) {
    const std::size_t start = output.find("\n  [" + place + "] ");
    if (start == std::string::npos) {
        return "no element " + place;
    }
    const std::size_t end = output.find("\n  ", output.find('\n', start + 1));
    std::size_t stop = output.find("\n  [", start + 1);
    stop = std::min(stop, output.find("\n  the library", start + 1));
    stop = std::min(stop, output.find("\n  name [", start + 1));
    return output.substr(start, (stop == std::string::npos ? end : stop) - start);
}

// The chain is refused for the purpose with a fault of the element, whose cause and remedy stand
// there; nothing else goes to standard error.
void expectFault(const Outcome& outcome, const std::string& place, const std::string& fault,
                 const std::string& cause, const std::string& remedy, int status = 5) {
    EXPECT_EQ(outcome.status, status) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    const std::string element = elementOf(outcome.output, place);
    EXPECT_THAT(element, HasSubstr(fault + ": ")) << outcome.output;
    EXPECT_THAT(element, HasSubstr(cause));
    EXPECT_THAT(element, HasSubstr("remedy: "));
    EXPECT_THAT(element, HasSubstr(remedy));
}

TEST(Explain, trustedChainIsWellWithEveryElement) {
    const Outcome outcome = runTool(ofCase("with-intermediate") + forServer);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(outcome.output, HasSubstr("for server authentication: trusted\n"
                                          "  [1] localhost: nothing wrong with it\n"
                                          "  [2] Throwaway Intermediate: nothing wrong with it\n"
                                          "  [3] Throwaway Authority: nothing wrong with it\n"));
    EXPECT_THAT(outcome.output, HasSubstr("    [Debug] The certificate chain is trusted for server "
                                          "authentication\n"));
}

TEST(Explain, factsOfACertificateAreShown) {
    const Outcome outcome = runTool(ofCase("two-names") + forServer);
    EXPECT_THAT(outcome.output, HasSubstr("[1] one.test\n"
                                          "    subject     O=case two-names, CN=one.test\n"
                                          "    issuer      O=case authority, CN=Throwaway "
                                          "Authority\n"
                                          "    names       one.test, two.test\n"
                                          "    valid       2020-01-01 00:00:00 UTC to 2049-12-31 "
                                          "23:59:59 UTC\n"
                                          "    usages      server authentication\n"
                                          "    thumbprint  "));
}

TEST(Explain, thumbprintIsTheOneThatOtherToolsShow) {
    Command openssl({"openssl", "x509", "-noout", "-fingerprint", "-sha1", "-in",
                     pki::file("two-names", "cert").string()});
    openssl.exitStatus();
    std::string hexadecimal = openssl.output();
    hexadecimal = hexadecimal.substr(hexadecimal.find('=') + 1);
    std::erase_if(hexadecimal, [](char unit) { return unit == ':' || unit == '\n'; });
    EXPECT_THAT(runTool(ofCase("two-names")).output, HasSubstr("thumbprint  " + hexadecimal));
}

TEST(Explain, expiredNamesItsDayAndElement) {
    expectFault(runTool(ofCase("expired") + forServer), "1", "expired",
                "its validity ended at 2021-01-01 00:00:00 UTC", "have it renewed");
}

TEST(Explain, notYetValidNamesItsDayAndTheClock) {
    expectFault(runTool(ofCase("not-yet-valid") + forServer), "1", "not-yet-valid",
                "it isn't valid before 2048-01-01 00:00:00 UTC", "check the clock");
}

TEST(Explain, wrongNameNamesBoth) {
    const Outcome outcome =
        runTool(ofCase("wrong-name") + forServer + Words{"--name", "localhost"});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.output, HasSubstr("for server authentication: trusted\n"));
    EXPECT_THAT(outcome.output, HasSubstr("name: it isn't made out to [localhost]: its names are "
                                          "elsewhere.test\n"));
    EXPECT_THAT(outcome.output, HasSubstr("remedy: connect by one of its names"));
}

TEST(Explain, nameBeyondAsciiIsThatOfItsALabels) {
    const auto file = makeStrange({.commonName = "one", .dnsNames = {"xn--mller-kva.test"}});
    EXPECT_THAT(runTool(ofFile(file) + forServer + Words{"--name", "m\xC3\xBCller.test"}).output,
                HasSubstr("name [xn--mller-kva.test]: "));
    EXPECT_THAT(runTool(ofFile(file) + forServer + Words{"--name", "m\xC3\xBCller.test"}).output,
                testing::Not(HasSubstr("isn't made out to it")));
}

TEST(Explain, selfSignedIsNamed) {
    expectFault(runTool(ofCase("self-signed") + forServer), "1", "self-signed",
                "it is signed by itself", "have it issued by an authority");
}

TEST(Explain, rootThatIsNoAnchorIsTheElementAtFault) {
    const auto file = written(contents(pki::file("untrusted", "cert")) +
                              contents(pki::file("other-authority", "cert")));
    expectFault(runTool(ofFile(file) + forServer), "2", "untrusted-root",
                "it isn't among the trust anchors here", "compare its thumbprint");
}

TEST(Explain, unknownRootIsTheMissingIssuer) {
    expectFault(runTool(ofCase("untrusted") + forServer), "1", "missing-issuer",
                "[O=case other-authority, CN=Other Authority]", "add it to the trust anchors");
}

TEST(Explain, missingIntermediateNamesIt) {
    expectFault(runTool(ofCase("missing-intermediate") + forServer), "1", "missing-issuer",
                "[O=case intermediate, CN=Throwaway Intermediate] is neither sent along",
                "have the sender send the certificate of");
}

TEST(Explain, damagedIntermediateIsTheElementAtFault) {
    const auto file = written(contents(pki::file("with-intermediate", "cert")) +
                              withDamagedSignature(pki::file("intermediate", "cert")));
    const Outcome outcome = runTool(ofFile(file) + forServer);
    expectFault(outcome, "2", "signature", "its signature isn't the one that its issuer",
                "replace it by the authority's original");
    EXPECT_THAT(elementOf(outcome.output, "1"), HasSubstr("nothing wrong with it"));
}

TEST(Explain, leafThatSignsIsNoAuthority) {
    expectFault(runTool(ofCase("not-authority") + forServer), "2", "not-an-authority",
                "it signed [localhost], but isn't an authority",
                "have [localhost] issued by an authority");
}

TEST(Explain, wrongUsageNamesTheUsages) {
    expectFault(runTool(ofCase("wrong-usage") + forServer), "1", "usage",
                "it isn't meant for server authentication (1.3.6.1.5.5.7.3.1): its usages are "
                "client authentication",
                "have a certificate issued with the usage server authentication");
}

TEST(Explain, weakKeyIsReported) {
    expectFault(runTool(ofCase("weak-key") + forServer), "1", "signature",
                "its RSA key has 1024 bits, and TLS asks for 2048 or more",
                "have a new one issued with a stronger key");
}

TEST(Explain, weakSignatureIsReported) {
    expectFault(runTool(ofFile(withWeakSignature()) + forServer), "1", "signature",
                "it is signed with SHA-1, and TLS asks for SHA-256 or better",
                "have a new one issued with a stronger key");
}

// The value that openssl prints after the equals sign.
std::string printed(const std::string& name, const std::string& what) {
    Command openssl({"openssl", "x509", "-noout", what, "-in", pki::file(name, "cert").string()});
    openssl.exitStatus();
    const std::string line = openssl.output();
    return line.substr(line.find('=') + 1);
}

TEST(Explain, keySignatureAndSerialNumberAreShown) {
    const std::string rsa = runTool(ofCase("server-rsa")).output;
    EXPECT_THAT(rsa, HasSubstr("    public key  RSA, 2048 bits\n"
                               "    signature   SHA-256 with RSA\n"
                               "    serial      " +
                               printed("server-rsa", "-serial")));
    const std::string elliptic = runTool(ofCase("with-intermediate")).output;
    EXPECT_THAT(elliptic, HasSubstr("    public key  EC P-256, 256 bits\n"
                                    "    signature   SHA-256 with ECDSA\n"));
    EXPECT_THAT(runTool(ofCase("server-rsa") + Words{"--json"}).output,
                HasSubstr("\"publicKey\":\"RSA\",\"publicKeyBits\":2048,"
                          "\"signature\":\"SHA-256 with RSA\""));
}

TEST(Explain, pemIsTheChainAsOpensslWritesIt) {
    const Outcome outcome = runTool(ofCase("with-intermediate") + Words{"--pem"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, contents(pki::file("with-intermediate", "chain")) +
                                  contents(pki::file("authority", "cert")));
}

TEST(Explain, allFaultsOfAnElementAreShown) {
    const Outcome outcome = runTool(ofCase("expired") + forClient);
    expectFault(outcome, "1", "expired", "ended", "renewed");
    expectFault(outcome, "1", "usage", "isn't meant for client authentication", "issued with");
}

TEST(Explain, linesOfTheLibraryAreShown) {
    const Outcome outcome = runTool(ofCase("expired") + forServer);
    EXPECT_THAT(
        outcome.output,
        HasSubstr("  the library logs of it:\n"
                  "    [Warning] CertVerifyCertificateChainPolicy returned status: 2148204801 ("));
    EXPECT_THAT(outcome.output,
                HasSubstr("    [Info] The certificate chain is not trusted for server "
                          "authentication\n"
                          "    [Info] The following information is not complete, but provided as a "
                          "starting point. Please inspect the certificate chain through the "
                          "Microsoft Management Console\n"
                          "    [Info] This error applies to the certificate with the friendly name "
                          "[localhost]\n"));
}

TEST(Explain, anotherTimeChangesTheResult) {
    EXPECT_EQ(runTool(ofCase("expired") + forServer + Words{"--at", "2020-06-01"}).status, 0);
    EXPECT_EQ(
        runTool(ofCase("server-rsa") + forServer + Words{"--at", "2051-01-01T00:00:00Z"}).status,
        5);
    const Outcome later = runTool(ofCase("server-rsa") + forServer + Words{"--at", "+100000d"});
    EXPECT_EQ(later.status, 5);
    EXPECT_THAT(later.output, HasSubstr("expired: "));
}

TEST(Explain, timeIsShownAsParsed) {
    EXPECT_THAT(runTool(ofCase("expired") + Words{"--at", "2020-06-01T12:34:56Z"}).output,
                HasSubstr("judged for 2020-06-01 12:34:56 UTC\n"));
    EXPECT_THAT(runTool(ofCase("expired") + Words{"--at", "2020-02-29 05:10"}).output,
                HasSubstr("judged for 2020-02-29 05:10:00 UTC\n"));
}

TEST(Explain, withoutAPurposeEitherSuffices) {
    const Outcome outcome = runTool(ofCase("client"));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, HasSubstr("for server authentication: not trusted\n"));
    EXPECT_THAT(outcome.output, HasSubstr("for client authentication: trusted\n"));
}

TEST(Explain, serversNameMayHaveWildcardsAndAClientsMayNot) {
    const Words wild = ofCase("wildcard") + Words{"--name", "a.wild.test"};
    EXPECT_EQ(runTool(wild + forServer).status, 0);
    EXPECT_EQ(runTool(wild + Words{"--name", "a.b.wild.test"}).status, 1); // given twice
    EXPECT_EQ(
        runTool(ofCase("partial-wildcard") + forServer + Words{"--name", "wx.wild.test"}).status,
        6);
    EXPECT_EQ(
        runTool(ofCase("client-two-names") + forClient + Words{"--name", "SECOND.test"}).status, 0);
    EXPECT_EQ(
        runTool(ofCase("client-two-names") + forClient + Words{"--name", "third.test"}).status, 6);
}

TEST(Explain, addressesCountAsNames) {
    EXPECT_EQ(runTool(ofCase("server-rsa") + forServer + Words{"--name", "127.0.0.1"}).status, 0);
    EXPECT_EQ(runTool(ofCase("server-rsa") + forServer + Words{"--name", "127.0.0.2"}).status, 6);
}

TEST(Explain, nameThatAnAuthorityExcludesIsRefusedThoughAWildcardCoversIt) {
    const CoveredName covered = makeCoveredName();
    const OwnCertificates own;
    std::filesystem::copy(covered.authority, own.folder / "root" / "excluding.pem");
    const Words wild = {"explain",
                        "--file",
                        covered.certificate.string(),
                        "--certificates",
                        own.folder.string(),
                        "--purpose",
                        "server",
                        "--name"};
    EXPECT_EQ(runTool(wild + Words{"good.wild.test"}).status, 0);
    const Outcome outcome = runTool(wild + Words{"evil.wild.test"});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.output,
                HasSubstr("  name [evil.wild.test]: its authorities don't permit it\n"
                          "      name-constraint: an authority in the chain may not issue for "
                          "[evil.wild.test], although a name of the certificate covers it\n"
                          "      remedy: connect by a name"));
}

TEST(Explain, keyThatCannotBeDecodedIsAFaultOfTheSignature) {
    const OwnCertificates own;
    const Words damaged = {"explain", "--file",
                           written(withDamagedKey(makeStrange({"leaf", {}}))).string(),
                           "--certificates", own.folder.string()};
    const Outcome outcome = runTool(damaged + forServer);
    expectFault(outcome, "1", "signature", "its key can't be decoded",
                "install the certificate again from the authority's original");
    EXPECT_THAT(outcome.output, HasSubstr("  status 2148098052 ("));
}

TEST(Explain, nameIsJudgedThoughTheChainIsRefused) {
    EXPECT_THAT(runTool(ofCase("expired") + forServer + Words{"--name", "elsewhere.test"}).output,
                HasSubstr("name: it isn't made out to [elsewhere.test]"));
}

TEST(Explain, unusedCertificateIsMarked) {
    const auto file =
        written(contents(pki::file("server-rsa", "cert")) + contents(pki::file("client", "cert")));
    const Outcome outcome = runTool(ofFile(file) + forServer);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, HasSubstr("from the file; no chain needs it\n"));
}

TEST(Explain, otherTextAndKeysInAFileAreSkipped) {
    const auto file = written("some words\n" + contents(pki::file("server-rsa", "key")) +
                              contents(pki::file("server-rsa", "cert")) + "more words\n");
    EXPECT_EQ(runTool(ofFile(file) + forServer).status, 0);
}

TEST(Explain, readsDerAndStandardInput) {
    const auto der = freshFile(".der");
    Command({"openssl", "x509", "-in", pki::file("server-rsa", "cert").string(), "-outform", "DER",
             "-out", der.string()})
        .exitStatus();
    EXPECT_EQ(runTool(ofFile(der) + forServer).status, 0);
    EXPECT_EQ(
        runTool(ofFile("-") + forServer, Command::Input::file(pki::file("server-rsa", "cert")))
            .status,
        0);
}

TEST(Explain, badFilesAreUsageWithTheReason) {
    expectUsage(runTool(ofFile("/nowhere/chain.pem")), "[/nowhere/chain.pem] cannot be opened");
    expectUsage(runTool(ofFile(pki::folder())), "cannot be read");
    expectUsage(runTool(ofFile(written(""))), "holds no certificate");
    expectUsage(runTool(ofFile(written("no certificate at all\n"))), "holds no certificate");
    expectUsage(runTool(ofFile(pki::file("server-rsa", "key"))), "holds no certificate");
    expectUsage(runTool(ofFile(written("0"))), "its certificate 1 can't be read");
    const std::string good = contents(pki::file("server-rsa", "cert"));
    for (const std::string& bad :
         {std::string("-----BEGIN CERTIFICATE-----\n"), good.substr(0, good.size() / 2),
          std::string("-----BEGIN CERTIFICATE-----\n!!\n-----END CERTIFICATE-----\n"),
          std::string("-----BEGIN CERTIFICATE-----\nMIIB\n-----END CERTIFICATE-----\n")}) {
        expectUsage(runTool(ofFile(written(good + bad))), "its certificate 2 can't be read");
    }
}

TEST(Explain, fileWithoutEndIsRefused) {
    expectUsage(runTool(ofFile("/dev/zero")), "is too large");
}

TEST(Explain, badArgumentsAreUsage) {
    const std::string file = pki::file("server-rsa", "cert").string();
    expectUsage(runTool({"explain"}), "give HOST:PORT, --file FILE or --store NAME");
    expectUsage(runTool({"explain", "--file", file, "--store", "x"}), "only one of them");
    expectUsage(runTool({"explain", "localhost:1", "--file", file}), "see vexassl explain --help");
    expectUsage(runTool({"explain", "localhost"}), "is no HOST:PORT");
    expectUsage(runTool({"explain", "--file", file, "--purpose", "both"}), "--purpose");
    expectUsage(runTool({"explain", "--file", file, "--certificates", "/nowhere"}),
                "no certificate folder at [/nowhere]");
    for (const char* time : {"yesterday", "2020-13-01", "2020-02-30", "2020-01-01T24:00",
                             "20200101", "2020-01-01x", "1500-01-01", "+d", "+-1d", "+1", ""}) {
        expectUsage(runTool({"explain", "--file", file, "--at", time}), "vexassl: ");
    }
    expectUsage(runTool({"explain", "--file", file, "--at", "yesterday"}),
                "[yesterday] is no time");
}

TEST(Explain, storeIsSearchedAsAConnectionDoes) {
    const Words ofStore = {"explain", "--certificates", pki::folder().string(), "--store"};
    EXPECT_EQ(runTool(ofStore + Words{"case server-rsa,"} + forServer).status, 0);
    const Outcome several = runTool(ofStore + Words{"CASE CLIENT"} + forClient);
    EXPECT_THAT(several.output, StartsWith("certificate 1 of "));
    EXPECT_THAT(several.output,
                HasSubstr("in its subject, the one that a connection takes, judged"));
    expectFault(runTool(ofStore + Words{"case expired,"} + forServer), "1", "expired", "ended",
                "renewed", 7);
    const Outcome none = runTool(ofStore + Words{"no such name"});
    EXPECT_EQ(none.status, 7);
    EXPECT_THAT(none.errors, HasSubstr("no certificate with [no such name] in its subject"));
}

TEST(Explain, storeIsThatOfTheFolderBesideAFurtherAnchor) {
    const Words further = {"--root", pki::file("untrusted", "cert").string()};
    const Words ofStore = {"explain", "--certificates", pki::folder().string(), "--store"};
    EXPECT_EQ(runTool(ofStore + Words{"case server-rsa,"} + forServer + further).status, 0);
}

TEST(Explain, helpersOfTheStoresFileLinkItsChain) {
    const Outcome outcome = runTool({"explain", "--certificates", pki::folder().string(), "--store",
                                     "case with-intermediate,", "--purpose", "server"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, HasSubstr("[2] Throwaway Intermediate: nothing wrong with it"));
}

TEST(Explain, scriptGetsOneObjectALine) {
    const Outcome outcome =
        runTool(ofCase("expired") + forServer + Words{"--json", "--name", "localhost"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.errors, "");
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_THAT(line, StartsWith("{\"type\":\""));
        EXPECT_EQ(line.back(), '}');
    }
    EXPECT_THAT(outcome.output, HasSubstr("{\"type\":\"certificate\",\"chain\":1,\"certificate\":1,"
                                          "\"name\":\"localhost\",\"subject\":\"O=case expired, "
                                          "CN=localhost\""));
    EXPECT_THAT(outcome.output,
                HasSubstr("{\"type\":\"element\",\"chain\":1,\"purpose\":\"server\",\"place\":1,"
                          "\"certificate\":1,\"well\":false,\"faults\":[{\"fault\":\"expired\","
                          "\"cause\":\"its validity ended at 2021-01-01 00:00:00 UTC\","
                          "\"remedy\":\"have it renewed"));
    EXPECT_THAT(outcome.output,
                HasSubstr("{\"type\":\"name\",\"chain\":1,\"purpose\":\"server\",\"name\":"
                          "\"localhost\",\"verdict\":\"borne\",\"faults\":[]}\n"));
    EXPECT_THAT(outcome.output,
                HasSubstr("{\"type\":\"verdict\",\"chain\":1,\"purpose\":\"server\","
                          "\"trusted\":false,\"status\":2148204801,"));
    EXPECT_THAT(outcome.output,
                HasSubstr("{\"type\":\"log\",\"chain\":1,\"purpose\":\"server\",\"severity\":"
                          "\"Info\",\"text\":\"The certificate chain is not trusted for server "
                          "authentication\"}\n"));
}

TEST(Explain, helpShowsFlagsAndExamples) {
    const Outcome outcome = runTool({"explain", "--help"});
    EXPECT_EQ(outcome.status, 0);
    for (const char* text : {"--file", "--store", "--name", "--at", "--json", "vexassl explain ",
                             "whatever --name says."}) {
        EXPECT_THAT(outcome.output, HasSubstr(text));
    }
}

} // namespace
} // namespace VexaSsl::test
