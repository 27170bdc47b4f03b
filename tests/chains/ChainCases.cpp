// Chains sent by a server and by a client, with the expected outcomes.
#include "chains/Counts.h"
#include "chains/Validation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

struct ChainCase {
    std::string fact;
    Chain chain;
    ExpectedOutcome expected = {};
    std::string stricterWithClients = {}; // why a client is refused that openssl accepts
    std::string refusedAlthoughGood = {}; // why both refuse a valid chain
};

void PrintTo(const ChainCase& row, std::ostream* out) {
    *out << row.fact;
}

// The expected outcomes; each names the certificate at fault.
ExpectedOutcome unknownRoot(const std::string& element) {
    return {SEC_E_UNTRUSTED_ROOT, static_cast<DWORD>(CERT_E_UNTRUSTEDROOT), element};
}
ExpectedOutcome noLink(const std::string& element) {
    return {SEC_E_UNTRUSTED_ROOT, static_cast<DWORD>(CERT_E_CHAINING), element};
}
ExpectedOutcome outOfTime(const std::string& element) {
    return {SEC_E_CERT_EXPIRED, static_cast<DWORD>(CERT_E_EXPIRED), element};
}
ExpectedOutcome wrongUsage(const std::string& element) {
    return {SEC_E_CERT_WRONG_USAGE, static_cast<DWORD>(CERT_E_WRONG_USAGE), element};
}
ExpectedOutcome badSignature(const std::string& element) {
    return {SEC_E_CERT_UNKNOWN, static_cast<DWORD>(TRUST_E_CERT_SIGNATURE), element};
}
ExpectedOutcome badConstraints(const std::string& element) {
    return {SEC_E_CERT_UNKNOWN, static_cast<DWORD>(TRUST_E_BASIC_CONSTRAINTS), element};
}
ExpectedOutcome badName(const std::string& element) {
    return {SEC_E_CERT_UNKNOWN, static_cast<DWORD>(CERT_E_INVALID_NAME), element};
}
ExpectedOutcome badExtension(const std::string& element) {
    return {SEC_E_CERT_UNKNOWN, static_cast<DWORD>(CERT_E_CRITICAL), element};
}
const ExpectedOutcome good{};
ExpectedOutcome onlyServers() {
    return {SEC_E_OK, static_cast<DWORD>(CERT_E_WRONG_USAGE), "leaf"};
}
ExpectedOutcome onlyClients() {
    return {SEC_E_CERT_WRONG_USAGE, 0};
}

// A chain with this number of authorities between leaf and root.
Chain longChain(int authorities) {
    Chain chain;
    for (int i = 0; i < authorities; ++i) {
        chain.issuer("authority " + std::to_string(i));
    }
    return chain;
}

// Two authorities that issued each other's certificate.
Chain loop() {
    Chain one;
    one.issuer("one").issuerNamed("two").signedBy("two");
    Chain other;
    other.issuer("two").issuerNamed("one").signedBy("one").omit("leaf");
    return one.andPresent(other);
}

Chain below(const std::string& root) {
    return Chain().root(root);
}

constexpr unsigned char signs = 0x80;
constexpr unsigned char signsCertificates = 0x04;
constexpr unsigned char signsLists = 0x02;

const std::string unknown = "1.2.3.4.5.6.7";
const Der null = tlv(0x05, "");

std::vector<ChainCase> structureCases() {
    const auto authority = [](const std::string& name) { return Chain().issuer(name); };
    return {
        {"leaf below the root", Chain(), good},
        {"leaf with one intermediate", authority("between"), good},
        {"leaf with two intermediates", Chain().issuer("a").issuer("b"), good},
        {"leaf with five intermediates", longChain(5), good},
        {"fifty intermediates", longChain(50), good},
        {"a hundred and fifty intermediates",
         longChain(150),
         {SEC_E_CERT_UNKNOWN, static_cast<DWORD>(CERT_E_CHAINING), "authority 100"}},
        {"root presented along", authority("between").andPresentRoot(), good},
        {"intermediates backwards", longChain(5).reversed(), good},
        {"missing intermediate", authority("between").omit("between"), noLink("leaf")},
        {"missing upper intermediate", Chain().issuer("a").issuer("b").omit("b"), noLink("a")},
        {"missing lower intermediate", Chain().issuer("a").issuer("b").omit("a"), noLink("leaf")},
        {"self signed leaf", Chain().selfSigned(), unknownRoot("leaf")},
        {"self signed authority that is unknown", authority("stranger").selfSigned(),
         unknownRoot("stranger")},
        {"self signed authority that is unknown omitted",
         authority("stranger").selfSigned().omit("stranger"), noLink("leaf")},
        {"authority with the name of the root and another key",
         authority("root").keyNamed("impostor").selfSigned(), badSignature("leaf")},
        {"authority with the name and key of the root", authority("root").selfSigned(), good},
        {"unknown certificate presented next tos",
         Chain().andPresent(Chain().issuer("stranger").selfSigned()), good},
        {"leaf presented twice", Chain().andPresent(Chain()), good},
        {"intermediate presented twice", authority("between").andPresent(authority("between")),
         good},
        {"loop of two authorities", loop(), noLink("two")},
        {"loop of two authorities of which one is signed by the root too",
         loop().andPresent(Chain().issuer("one").omit("leaf")), good},
        {"authority that signed itself and is signed by the root",
         authority("between").andPresent(Chain().issuer("between").selfSigned().omit("leaf")),
         good},
        {"cross signed by the root and by an unknown authority",
         authority("between").andPresent(
             Chain().issuer("between").issuer("stranger").selfSigned().omit("leaf")),
         good},
        {"cross signed by an unknown authority and by the root",
         Chain()
             .issuer("between")
             .issuer("stranger")
             .selfSigned()
             .andPresent(authority("between").omit("leaf")),
         unknownRoot("stranger"),
         {},
         "the first issuer that fits is gone on with"},
        {"issuer that is another subject", authority("between").issuerNamed("nobody"),
         noLink("between")},
        {"leaf of another issuer than presented", Chain().issuerNamed("nobody").issuer("between"),
         noLink("leaf")},
        {"issuer with no name at all", Chain().issuer("between").named(distinguished({})), good},
    };
}

std::vector<ChainCase> timeCases() {
    return {
        {"expired leaf", Chain().expired(), outOfTime("leaf")},
        {"leaf not yet valid", Chain().notYetValid(), outOfTime("leaf")},
        {"expired intermediate", Chain().issuer("between").expired(), outOfTime("between")},
        {"intermediate not yet valid", Chain().issuer("between").notYetValid(),
         outOfTime("between")},
        {"expired root", below("old root"), outOfTime("old root")},
        {"expired leaf below an expired intermediate",
         Chain().expired().issuer("between").expired(), outOfTime("leaf")},
        {"expired and without a known root", Chain().expired().issuer("stranger").selfSigned(),
         unknownRoot("stranger")},
        {"expired and for code signing",
         Chain().expired().usages({codeSigning}),
         {SEC_E_CERT_WRONG_USAGE, static_cast<DWORD>(CERT_E_EXPIRED), "leaf"}},
    };
}

std::vector<ChainCase> usageCases() {
    const auto between = [] { return Chain().issuer("between"); };
    return {
        {"for servers only", Chain().usages({serverAuthentication}), onlyServers()},
        {"for clients only", Chain().usages({clientAuthentication}), onlyClients()},
        {"for code signing only", Chain().usages({codeSigning}), wrongUsage("leaf")},
        {"for an unknown usage only", Chain().usages({unknown}), wrongUsage("leaf")},
        {"for no usage at all", Chain().usages({}), wrongUsage("leaf")},
        {"for any usage",
         Chain().usages({anyUsage}),
         wrongUsage("leaf"),
         {},
         "TLS requires its own usage"},
        {"for any usage and both of TLS",
         Chain().usages({anyUsage, serverAuthentication, clientAuthentication}), good},
        {"without usages", Chain().withoutUsages(), good},
        {"server among other usages", Chain().usages({codeSigning, serverAuthentication}),
         onlyServers()},
        {"intermediate for servers only",
         between().usages({serverAuthentication}),
         {SEC_E_OK, static_cast<DWORD>(CERT_E_WRONG_USAGE), "between"}},
        {"intermediate for clients only",
         between().usages({clientAuthentication}),
         {SEC_E_CERT_WRONG_USAGE, 0}},
        {"intermediate for code signing only", between().usages({codeSigning}),
         wrongUsage("between")},
        {"key that signs", Chain().keyUsage(signs), good},
        {"key that signs certificates only", Chain().keyUsage(signsCertificates),
         wrongUsage("leaf")},
        {"key that signs lists only", Chain().keyUsage(signsLists), wrongUsage("leaf")},
        {"intermediate that signs certificates", between().keyUsage(signsCertificates), good},
        {"intermediate whose key signs no certificates", between().keyUsage(signs),
         badConstraints("between")},
        {"intermediate whose key signs lists only", between().keyUsage(signsLists),
         badConstraints("between")},
        {"root whose key signs no certificates", below("root by key usage"),
         badConstraints("root by key usage")},
        {"root for clients only", below("root of clients"), onlyClients()},
    };
}

std::vector<ChainCase> constraintCases() {
    const auto between = [] { return Chain().issuer("between"); };
    return {
        {"intermediate that is no authority", between().authority(false),
         badConstraints("between")},
        {"intermediate without constraints", between().withoutConstraints(),
         badConstraints("between")},
        {"intermediate of the first version", between().withoutConstraints().version(0),
         badConstraints("between")},
        {"leaf that is an authority", Chain().authority(), good},
        {"leaf that signs another leaf", Chain().issuer("elder").authority(false),
         badConstraints("elder")},
        {"upper authority that is no authority", Chain().issuer("a").issuer("b").authority(false),
         badConstraints("b")},
        {"path length that fits", Chain().issuer("a").pathLength(0), good},
        {"path length of two that fits", Chain().issuer("a").issuer("b").issuer("c").pathLength(2),
         good},
        {"path length exceeded by one", Chain().issuer("a").issuer("b").pathLength(0),
         badConstraints("b")},
        {"path length exceeded far below",
         Chain().issuer("a").issuer("b").issuer("c").pathLength(1), badConstraints("c")},
        {"path length of the root exceeded", below("root of none").issuer("between"),
         badConstraints("root of none")},
        {"path length of the root fits", below("root of none"), good},
        {"root that is no authority", below("no authority"), badConstraints("no authority")},
        {"root of the first version", below("first version"), good},
    };
}

std::vector<ChainCase> nameConstraintCases() {
    const auto named = [](const std::string& name) { return Chain({dns(name)}).issuer("between"); };
    const Der insideName = dns("inside.test");
    return {
        {"name below the permitted one", named("a.inside.test").permitted({insideName}), good},
        {"name that is the permitted one", named("inside.test").permitted({insideName}), good},
        {"name in other case than the permitted one",
         named("A.INSIDE.test").permitted({insideName}), good},
        {"name outside of the permitted one", named("a.test").permitted({insideName}),
         badName("leaf")},
        {"name that only ends like the permitted one",
         named("notinside.test").permitted({insideName}), badName("leaf")},
        {"name with the permitted one in the middle",
         named("inside.test.evil.test").permitted({insideName}), badName("leaf")},
        {"name below the excluded one", named("a.inside.test").excluded({insideName}),
         badName("leaf")},
        {"name that is the excluded one", named("inside.test").excluded({insideName}),
         badName("leaf")},
        {"name in other case than the excluded one", named("a.INSIDE.test").excluded({insideName}),
         badName("leaf")},
        {"name next to the excluded one", named("a.test").excluded({insideName}), good},
        {"permitted and excluded at once",
         named("a.inside.test").permitted({insideName}).excluded({dns("a.inside.test")}),
         badName("leaf")},
        {"second name outside of the permitted one",
         Chain({dns("a.inside.test"), dns("a.test")}).issuer("between").permitted({insideName}),
         badName("leaf")},
        {"one of two permitted ones", named("a.test").permitted({insideName, dns("a.test")}), good},
        {"wildcard below the permitted one", named("*.inside.test").permitted({insideName}), good},
        {"wildcard outside of the permitted one", named("*.outside.test").permitted({insideName}),
         badName("leaf")},
        {"wildcard below the excluded one", named("*.inside.test").excluded({insideName}),
         badName("leaf")},
        {"everything excluded", named("a.test").excluded({dns("")}), badName("leaf")},
        {"common name outside of the permitted one",
         Chain(std::vector<Der>{}).commonName("a.test").issuer("between").permitted({insideName}),
         badName("a.test")},
        {"common name inside of the permitted one",
         Chain(std::vector<Der>{})
             .commonName("a.inside.test")
             .issuer("between")
             .permitted({insideName}),
         good},
        {"common name outside of the permitted one next to a name inside",
         Chain({dns("a.inside.test")})
             .commonName("a.test")
             .issuer("between")
             .permitted({insideName}),
         {SEC_E_OK, static_cast<DWORD>(CERT_E_INVALID_NAME), "a.test"},
         "a client's common name is compared in addition to its other names, so it must be "
         "permitted too"},
        {"common name inside of the permitted one next to a name inside",
         Chain({dns("a.inside.test")})
             .commonName("b.inside.test")
             .issuer("between")
             .permitted({insideName}),
         good},
        {"address inside of the permitted ones",
         Chain({address("10.1.2.3")})
             .issuer("between")
             .permitted({addressBytes(std::string("\x0A\0\0\0\xFF\0\0\0", 8))}),
         good},
        {"address outside of the permitted ones",
         Chain({address("11.1.2.3")})
             .issuer("between")
             .permitted({addressBytes(std::string("\x0A\0\0\0\xFF\0\0\0", 8))}),
         badName("leaf")},
        {"address in excluded ones",
         Chain({address("10.1.2.3")})
             .issuer("between")
             .excluded({addressBytes(std::string("\x0A\0\0\0\xFF\0\0\0", 8))}),
         badName("leaf")},
        {"address constraint of a wrong size",
         Chain({address("10.1.2.3")}).issuer("between").permitted({addressBytes("\x0A\x01\x02")}),
         badName("leaf")},
        {"mail address outside of the permitted host",
         Chain({dns("a.test"), email("me@a.test")}).issuer("between").permitted({email("b.test")}),
         badName("leaf")},
        {"directory name outside of the permitted one",
         Chain().issuer("between").permitted({directory("somebody")}), badName("leaf")},
        {"constraint of an unknown type",
         Chain({dns("a.test"), tlv(0x88, "\x2A\x03")})
             .issuer("between")
             .permitted({tlv(0x88, "\x2A\x03")}),
         badName("leaf")},
        {"constraints of an upper authority apply",
         named("a.test").issuer("upper").permitted({insideName}), badName("leaf")},
        {"constraints of the root apply", Chain().root("root of the inside"), badName("leaf")},
        {"name inside of the constraints of the root",
         Chain({dns("a.inside.test")}).root("root of the inside"), good},
        {"exclusion by the root applies",
         Chain({dns("a.outside.test")}).root("root without the outside"), badName("leaf")},
        {"name next to the exclusion by the root", Chain().root("root without the outside"), good},
    };
}

std::vector<ChainCase> extensionCases() {
    const auto between = [] { return Chain().issuer("between"); };
    const Der strange = extension(unknown, true, null);
    return {
        {"unknown critical extension", Chain().with(strange), badExtension("leaf")},
        {"unknown extension", Chain().with(extension(unknown, false, null)), good},
        {"unknown critical extension of the intermediate", between().with(strange),
         badExtension("between")},
        {"unknown extension of the intermediate", between().with(extension(unknown, false, null)),
         good},
        {"critical alternative names", Chain().criticalNames(), good},
        {"critical usages",
         Chain().withoutUsages().with(extension(
             "2.5.29.37", true,
             sequence({identifier(serverAuthentication), identifier(clientAuthentication)}))),
         good},
        {"unknown extension twice",
         Chain().with(extension(unknown, false, null)).with(extension(unknown, false, null)), good},
    };
}

std::vector<ChainCase> keyCases() {
    const auto between = [] { return Chain().issuer("between"); };
    return {
        {"RSA key of 512 bits", Chain().key(KeyKind::rsa512), badSignature("leaf")},
        {"RSA key of 1024 bits", Chain().key(KeyKind::rsa1024), badSignature("leaf")},
        {"RSA key of 2048 bits", Chain().key(KeyKind::rsa2048), good},
        {"Ed25519 key", Chain().key(KeyKind::ed25519), good},
        {"intermediate with an RSA key of 512 bits", between().key(KeyKind::rsa512),
         badSignature("between")},
        {"intermediate with an RSA key of 1024 bits", between().key(KeyKind::rsa1024),
         badSignature("between")},
        {"intermediate with an RSA key of 2048 bits", between().key(KeyKind::rsa2048), good},
        {"intermediate with a short elliptic key", between().key(KeyKind::p192),
         badSignature("between")},
        {"intermediate with an Ed25519 key", between().key(KeyKind::ed25519), good},
        {"root with an RSA key of 1024 bits", below("weak root"), badSignature("weak root")},
        {"root with an RSA key of 2048 bits", below("rsa root"), good},
        {"leaf signed with SHA1", Chain().digest(Digest::sha1), badSignature("leaf")},
        {"leaf signed with SHA1 by an RSA key", below("rsa root").digest(Digest::sha1),
         badSignature("leaf")},
        {"leaf signed with MD5", below("rsa root").digest(Digest::md5), badSignature("leaf")},
        {"intermediate signed with SHA1", between().digest(Digest::sha1), badSignature("between")},
        {"intermediate signed with MD5", below("rsa root").issuer("between").digest(Digest::md5),
         badSignature("between")},
        {"leaf signed by another key", Chain().signedBy("impostor"), badSignature("leaf")},
        {"leaf signed by its own key in the name of the root", Chain().signedBy("leaf"),
         badSignature("leaf")},
        {"intermediate signed by another key", between().signedBy("impostor"),
         badSignature("between")},
        {"leaf below an intermediate signed by the root's key",
         Chain().signedBy("root").issuer("between"), badSignature("leaf")},
    };
}

std::vector<ChainCase> allCases() {
    std::vector<ChainCase> all;
    for (const auto& cases : {structureCases(), timeCases(), usageCases(), constraintCases(),
                              nameConstraintCases(), extensionCases(), keyCases()}) {
        all.insert(all.end(), cases.begin(), cases.end());
    }
    return all;
}

class Chains : public ::testing::TestWithParam<ChainCase> {
protected:
    static void TearDownTestSuite() { counts.report("chains"); }
    // A target that matches the leaf's name, so that only the chain is tested.
    std::wstring target() const {
        const Der name =
            GetParam().chain.leaf().names.empty() ? Der() : GetParam().chain.leaf().names.front();
        const unsigned char tag = name.empty() ? 0 : static_cast<unsigned char>(name[0]);
        if (tag == 0x87) {
            return name[2] == 10 ? L"10.1.2.3" : L"11.1.2.3";
        }
        std::string text = tag == 0x82 ? name.substr(2) : commonName();
        if (text.starts_with("*")) {
            text = "www" + text.substr(1);
        }
        return {text.begin(), text.end()};
    }

    static Counts counts;

private:
    std::string commonName() const {
        return GetParam().fact.find("outside") == std::string::npos ? "a.inside.test" : "a.test";
    }
};

Counts Chains::counts;

TEST_P(Chains, clientValidatesTheServersChain) {
    const PresentedChain presented = GetParam().chain.make();
    const HandshakeOutcome outcome = validatedByClient(presented, target());
    const ExpectedOutcome& expected = GetParam().expected;
    EXPECT_EQ(outcome.lines, linesOfClient(expected.clientStatus, target()));
    EXPECT_EQ(outcome.peerFinished, expected.isGood());
    EXPECT_EQ(statusOnRequest(presented, target()) == 0, outcome.accepted);
    const Verification verification = verifiedByOpenSsl(presented, Purpose::server);
    compare(counts, GetParam().fact, expected.isGood(), outcome.accepted, verification.accepted,
            {.harmless = GetParam().refusedAlthoughGood}, verification.output);
}

TEST_P(Chains, serverValidatesTheClientsChain) {
    const PresentedChain presented = GetParam().chain.make();
    const HandshakeOutcome outcome = validatedByServer(presented);
    const ExpectedOutcome& expected = GetParam().expected;
    EXPECT_EQ(outcome.lines, linesOfServer(expected));
    const LogLine trusted{Severity::Debug,
                          L"The certificate chain is trusted for client authentication"};
    EXPECT_EQ(std::count(outcome.details.begin(), outcome.details.end(), trusted),
              expected.isGoodClient() ? 1 : 0);
    const Verification verification = verifiedByOpenSsl(presented, Purpose::client);
    compare(
        counts, GetParam().fact, expected.isGoodClient(), outcome.accepted, verification.accepted,
        {.stricter = GetParam().stricterWithClients, .harmless = GetParam().refusedAlthoughGood},
        verification.output);
}

INSTANTIATE_TEST_SUITE_P(, Chains, ::testing::ValuesIn(allCases()),
                         [](const auto& row) { return nameOfFact(row.param.fact); });

} // namespace
} // namespace VexaSsl::test
