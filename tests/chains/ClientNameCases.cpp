// A client's certificate that is valid except for its names, and the one name that a server
// accepts.
#include "chains/Counts.h"
#include "chains/Validation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

using namespace std::string_literals;

struct ClientNameCase {
    std::string fact;
    Chain chain;
    std::wstring acceptable;
    bool accepted;
    std::vector<std::wstring> names = {}; // as reported if the certificate is refused
    Remark remark = {};
    std::string asked = {}; // for the openssl command, if not ASCII
};

void PrintTo(const ClientNameCase& row, std::ostream* out) {
    *out << row.fact;
}

constexpr bool accepted = true;
constexpr bool refused = false;

const std::vector<Der> noNames;

// A chain with these alternative names.
Chain with(const std::vector<Der>& names, const std::string& commonName = {}) {
    return Chain(names).commonName(commonName);
}

const Remark wholeNames{.stricter = "whole names are compared, without wildcards"};
const Remark allNames{.laxer =
                          "all names of a client are compared, including the common name; name "
                          "constraints apply to it"};

std::vector<ClientNameCase> allCases() {
    const std::string umlaut = "b\xC3\xBC"
                               "cher.test";
    return {
        {"the name itself", with({dns("a.test")}), L"a.test", accepted},
        {"in other case", with({dns("A.Test")}), L"a.TEST", accepted},
        {"second name", with({dns("b.test"), dns("a.test")}), L"a.test", accepted},
        {"last of a thousand names", with([] {
             std::vector<Der> names(999, dns("b.test"));
             names.push_back(dns("a.test"));
             return names;
         }()),
         L"a.test", accepted},
        {"another name", with({dns("b.test")}), L"a.test", refused, {L"b.test"}},
        {"name below", with({dns("x.a.test")}), L"a.test", refused, {L"x.a.test"}},
        {"name above", with({dns("test")}), L"a.test", refused, {L"test"}},
        {"longer name", with({dns("a.test.evil")}), L"a.test", refused, {L"a.test.evil"}},
        {"shorter name", with({dns("a.tes")}), L"a.test", refused, {L"a.tes"}},
        {"dot at the end", with({dns("a.test.")}), L"a.test", refused, {L"a.test."}},
        {"wildcard on the certificate",
         with({dns("*.a.test")}),
         L"www.a.test",
         refused,
         {L"*.a.test"},
         wholeNames},
        {"wildcard alone on the certificate", with({dns("*")}), L"a.test", refused, {L"*"}},
        {"the wildcard itself", with({dns("*.a.test")}), L"*.a.test", accepted},
        {"wildcard among the acceptable names",
         with({dns("www.a.test")}),
         L"*.a.test",
         refused,
         {L"www.a.test"}},
        {"zero after the name", with({dns("a.test\0"s)}), L"a.test", refused},
        {"zero after the name and more", with({dns("a.test\0.evil"s)}), L"a.test", refused},
        {"zero before the name", with({dns("\0a.test"s)}), L"a.test", refused},
        {"line end in the name", with({dns("a.test\nError")}), L"a.test", refused},
        {"space after the name", with({dns("a.test ")}), L"a.test", refused},
        {"escape in the name", with({dns("\x1B[2Ja.test")}), L"a.test", refused},
        {"brackets in the name", with({dns("b.test] [a.test")}), L"a.test", refused},
        {"letters outside ASCII", with({dns(umlaut)}), L"a.test", refused},
        {"letters outside ASCII that are acceptable",
         with({dns(umlaut)}),
         L"b\u00FCcher.test",
         refused,
         {},
         {.stricter = "DNS names are ASCII; others are encoded"},
         umlaut},
        {"encoded name", with({dns("xn--bcher-kva.test")}), L"xn--bcher-kva.test", accepted},
        {"encoded name against the unencoded one",
         with({dns("xn--bcher-kva.test")}),
         L"b\u00FCcher.test",
         refused,
         {L"xn--bcher-kva.test"},
         {},
         umlaut},
        {"Kelvin sign is no k",
         with({dns("k.test")}),
         L"\u212A.test",
         refused,
         {L"k.test"},
         {},
         "\xE2\x84\xAA.test"},
        {"empty name", with({dns("")}), L"a.test", refused},
        {"no names", with(noNames).named(distinguished({})), L"a.test", refused},
        {"common name", with(noNames, "a.test"), L"a.test", accepted},
        {"common name of one label", with(noNames, "host"), L"host", accepted},
        {"common name next to another name",
         with({dns("b.test")}, "a.test"),
         L"a.test",
         accepted,
         {},
         allNames},
        {"common name next to a mail address", with({email("me@b.test")}, "a.test"), L"a.test",
         accepted},
        {"first of two common names", with(noNames).named(distinguished({"a.test", "b.test"})),
         L"a.test", accepted},
        {"second of two common names", with(noNames).named(distinguished({"b.test", "a.test"})),
         L"a.test", accepted},
        {"none of two common names",
         with(noNames).named(distinguished({"b.test", "c.test"})),
         L"a.test",
         refused,
         {L"b.test", L"c.test"}},
        {"common name with a zero", with(noNames, "a.test\0.evil"s), L"a.test", refused},
        {"common name with a space", with(noNames, "a.test and more"), L"a.test", refused},
        {"common name that is an address", with(noNames, "127.0.0.1"), L"127.0.0.1", refused},
        {"common name with letters outside ASCII",
         with(noNames, umlaut),
         L"b\u00FCcher.test",
         refused,
         {},
         {.stricter = "DNS names are ASCII; others are encoded"},
         umlaut},
        {"common name with a leading hyphen",
         with(noNames, "-a.test"),
         L"-a.test",
         refused,
         {},
         {.stricter = "no DNS name begins with a hyphen"}},
        {"common name with an empty label",
         with(noNames, "a..test"),
         L"a..test",
         refused,
         {},
         {.stricter = "no label of a DNS name is empty"}},
        {"common name as BMPString", Chain(noNames).commonName("\0a\0.\0t\0e\0s\0t"s, 0x1E),
         L"a.test", accepted},
        {"address",
         with({address("127.0.0.1")}),
         L"127.0.0.1",
         refused,
         {},
         {.stricter = "only DNS names are compared"}},
        {"mail address", with({email("a.test")}), L"a.test", refused},
        {"URI", with({uri("a.test")}), L"a.test", refused},
        {"directory name", with({directory("a.test")}), L"a.test", refused},
    };
}

class ClientNames : public ::testing::TestWithParam<ClientNameCase> {
protected:
    static void TearDownTestSuite() { counts.report("client names"); }

    static Counts counts;
};

Counts ClientNames::counts;

TEST_P(ClientNames, clientNameIsAcceptedOrRefused) {
    const ClientNameCase& row = GetParam();
    const PresentedChain presented = row.chain.make();
    const HandshakeOutcome outcome = validatedByServer(presented, row.acceptable);
    EXPECT_EQ(outcome.lines,
              row.accepted ? linesOfServer({}) : linesOfUnacceptable(row.names, row.acceptable));
    const std::string asked =
        row.asked.empty() ? std::string(row.acceptable.begin(), row.acceptable.end()) : row.asked;
    const Verification verification = verifiedByOpenSsl(presented, Purpose::client, asked);
    compare(counts, row.fact, row.accepted, outcome.accepted, verification.accepted, row.remark,
            verification.output);
}

INSTANTIATE_TEST_SUITE_P(, ClientNames, ::testing::ValuesIn(allCases()),
                         [](const auto& row) { return nameOfFact(row.param.fact); });

} // namespace
} // namespace VexaSsl::test
