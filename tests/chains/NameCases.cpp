// A server's certificate that is valid except for the tested name, and the name that a client
// expects.
#include "chains/Counts.h"
#include "chains/Validation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

using namespace std::string_literals;

struct NameCase {
    std::string fact;
    Chain chain;
    std::wstring target;
    bool accepted;
    Remark remark = {};
    std::string asked = {}; // for the openssl command, if not ASCII
};

void PrintTo(const NameCase& row, std::ostream* out) {
    *out << row.fact;
}

constexpr bool accepted = true;
constexpr bool refused = false;

const std::vector<Der> noNames;

Chain on(const std::string& name) {
    return Chain({dns(name)});
}

// Without alternative names.
Chain onlyCommon(const std::string& name, unsigned char tag = 0x0C) {
    return Chain(noNames).commonName(name, tag);
}

const Remark partial{.stricter = "a wildcard matches a whole label only"};
const Remark dotAtEnd{.laxer = "a trailing dot only marks the name as complete and is "
                               "removed before the comparison"};
const Remark leadingDot{.stricter = "no host name begins with a dot; the command "
                                    "matches any name below"};
const Remark otherSpelling{.stricter = "what the resolver parses as an address isn't compared with "
                                       "DNS names"};

std::string repeated(const std::string& part, std::size_t times) {
    std::string text;
    for (std::size_t i = 0; i < times; ++i) {
        text += part;
    }
    return text;
}

std::vector<NameCase> plainCases() {
    const std::string longest = repeated("abcdefg.", 31) + "test";
    const std::string label63(63, 'a');
    return {
        {"the name itself", on("a.test"), L"a.test", accepted},
        {"the name in capitals", on("a.test"), L"A.TEST", accepted},
        {"the name in capitals on the certificate", on("A.Test"), L"a.test", accepted},
        {"another name", on("b.test"), L"a.test", refused},
        {"a name above", on("test"), L"a.test", refused},
        {"a name below", on("x.a.test"), L"a.test", refused},
        {"a longer name with the same end", on("xa.test"), L"a.test", refused},
        {"a longer name with the same beginning", on("a.testing"), L"a.test", refused},
        {"a longer name that begins with it", on("a.test.evil.test"), L"a.test", refused},
        {"a shorter name with the same beginning", on("a.tes"), L"a.test", refused},
        {"a single label", on("host"), L"host", accepted},
        {"another single label", on("host"), L"hosts", refused},
        {"second of two names", Chain({dns("b.test"), dns("a.test")}), L"a.test", accepted},
        {"none of two names", Chain({dns("b.test"), dns("c.test")}), L"a.test", refused},
        {"name after names of other kinds",
         Chain({email("me@b.test"), uri("https://b.test"), address("1.2.3.4"), dns("a.test")}),
         L"a.test", accepted},
        {"name with an underscore", on("a_b.test"), L"a_b.test", accepted},
        {"name with a hyphen", on("a-b.test"), L"a-b.test", accepted},
        {"name that begins with a digit", on("1a.test"), L"1a.test", accepted},
        {"dot at the end of the target", on("a.test"), L"a.test.", accepted, dotAtEnd},
        {"two dots at the end of the target", on("a.test"), L"a.test..", refused},
        {"dot at the end on the certificate", on("a.test."), L"a.test", refused},
        {"dot at the end of both",
         on("a.test."),
         L"a.test.",
         refused,
         {.stricter = "no dot is left of the target to compare with the certificate's"}},
        {"two dots in the middle", on("a.test"), L"a..test", refused},
        {"dot before the target", on("a.test"), L".a.test", refused},
        {"dot before the target and a name below", on("x.a.test"), L".a.test", refused, leadingDot},
        {"dot before the name on the certificate", on(".a.test"), L"a.test", refused},
        {"dot before the name on the certificate and a name below", on(".a.test"), L"x.a.test",
         refused},
        {"only a dot", on("."), L".", refused, {.stricter = leadingDot.stricter}},
        {"space before the name on the certificate", on(" a.test"), L"a.test", refused},
        {"space after the name on the certificate", on("a.test "), L"a.test", refused},
        {"space before the target", on("a.test"), L" a.test", refused},
        {"space after the target", on("a.test"), L"a.test ", refused},
        {"line end after the name on the certificate", on("a.test\n"), L"a.test", refused},
        {"tab in the name on the certificate", on("a\t.test"), L"a.test", refused},
        {"port after the target", on("a.test"), L"a.test:443", refused},
        {"port on the certificate", on("a.test:443"), L"a.test", refused},
        {"URI on the certificate", on("https://a.test"), L"a.test", refused},
        {"list in one name", on("a.test,b.test"), L"a.test", refused},
        {"list with spaces in one name", on("a.test b.test"), L"a.test", refused},
        {"user before the name", on("me@a.test"), L"a.test", refused},
        {"label of 63 letters", on(label63 + ".test"), wide(label63 + ".test"), accepted},
        {"name of 252 letters", on(longest), wide(longest), accepted},
        {"name of 252 letters with another end", on(longest), wide(longest + "s"), refused},
        {"name of 300 letters", on(std::string(295, 'a') + ".test"),
         wide(std::string(295, 'a') + ".test"), accepted},
        {"name of 300 letters of which the last differs", on(std::string(300, 'a')),
         wide(std::string(299, 'a') + "b"), refused},
        {"name of 60000 letters on the certificate", on(std::string(60000, 'a')), L"a.test",
         refused},
        {"name after one of 60000 letters", Chain({dns(std::string(60000, 'a')), dns("a.test")}),
         L"a.test", accepted},
        {"name of 60000 labels", on(repeated("a.", 30000) + "test"), L"a.test", refused},
        {"wildcard before 30000 labels", on("*." + repeated("a.", 30000) + "test"), L"a.test",
         refused},
        {"60000 wildcards", on(repeated("*.", 30000) + "test"), L"a.test", refused},
    };
}

std::vector<NameCase> wildcardCases() {
    return {
        {"wildcard for one label", on("*.a.test"), L"www.a.test", accepted},
        {"wildcard for another label", on("*.a.test"), L"mail.a.test", accepted},
        {"wildcard for a label in capitals", on("*.a.test"), L"WWW.A.TEST", accepted},
        {"wildcard in capitals", on("*.A.TEST"), L"www.a.test", accepted},
        {"wildcard for a label of one letter", on("*.a.test"), L"w.a.test", accepted},
        {"wildcard for a label of digits", on("*.a.test"), L"1.a.test", accepted},
        {"wildcard for a label with a hyphen", on("*.a.test"), L"w-w.a.test", accepted},
        {"wildcard for a label with an underscore", on("*.a.test"), L"w_w.a.test", refused},
        {"wildcard for an encoded label", on("*.a.test"), L"xn--bcher-kva.a.test", accepted},
        {"wildcard with a dot at the end of the target", on("*.a.test"), L"www.a.test.", accepted,
         dotAtEnd},
        {"wildcard for no label", on("*.a.test"), L"a.test", refused},
        {"wildcard for an empty label", on("*.a.test"), L".a.test", refused, leadingDot},
        {"wildcard for two labels", on("*.a.test"), L"x.www.a.test", refused},
        {"wildcard for three labels", on("*.a.test"), L"x.y.www.a.test", refused},
        {"wildcard for a name with another end", on("*.a.test"), L"www.b.test", refused},
        {"wildcard for a name that continues", on("*.a.test"), L"www.a.test.evil.test", refused},
        {"wildcard that is requested literally", on("*.a.test"), L"*.a.test", accepted},
        {"wildcard for a space", on("*.a.test"), L" .a.test", refused},
        {"wildcard for a slash", on("*.a.test"), L"x/y.a.test", refused},
        {"wildcard for letters outside ASCII",
         on("*.a.test"),
         L"b\u00FCcher.a.test",
         refused,
         {},
         "b\xC3\xBC"
         "cher.a.test"},
        {"two wildcards", on("*.*.test"), L"www.a.test", refused},
        {"two wildcards before two labels", on("*.*.a.test"), L"x.www.a.test", refused},
        {"double wildcard", on("**.a.test"), L"www.a.test", refused},
        {"wildcard in the middle", on("www.*.test"), L"www.a.test", refused},
        {"wildcard at the end", on("www.a.*"), L"www.a.test", refused},
        {"wildcard in the middle of three", on("x.*.a.test"), L"x.www.a.test", refused},
        {"wildcard after the beginning of a label", on("w*.a.test"), L"www.a.test", refused,
         partial},
        {"wildcard before the end of a label", on("*w.a.test"), L"www.a.test", refused, partial},
        {"wildcard inside of a label", on("w*w.a.test"), L"www.a.test", refused},
        {"wildcard inside of a label for nothing", on("w*w.a.test"), L"ww.a.test", refused},
        {"wildcard after a whole label", on("www*.a.test"), L"www.a.test", refused, partial},
        {"two wildcards in a label", on("*w*.a.test"), L"www.a.test", refused},
        {"wildcard inside of an encoded label", on("xn--*.a.test"), L"xn--bcher-kva.a.test",
         refused},
        {"wildcard above the only label", on("*.test"), L"www.test", refused},
        {"wildcard above the only label and two labels", on("*.test"), L"www.a.test", refused},
        {"wildcard for a name of the second level below a country", on("*.co.uk"), L"a.co.uk",
         accepted},
        {"wildcard alone", on("*"), L"a.test", refused},
        {"wildcard alone for a single label", on("*"), L"host", refused},
        {"wildcard and a dot", on("*."), L"a.test", refused},
        {"wildcard and a dot for a single label", on("*."), L"host", refused},
        {"wildcard and two dots", on("*..test"), L"a.test", refused},
        {"dot before a wildcard", on(".*.a.test"), L"www.a.test", refused},
        {"dot at the end of a wildcard name", on("*.a.test."), L"www.a.test", refused},
        {"wildcard before an encoded label", on("*.xn--bcher-kva.test"), L"www.xn--bcher-kva.test",
         accepted},
        {"wildcard with a hyphen in the next label", on("*.a-b.test"), L"www.a-b.test", accepted},
        {"question mark for any letter", on("?.a.test"), L"w.a.test", refused},
        {"set of letters", on("[a-z].a.test"), L"w.a.test", refused},
        {"percent sign", on("%.a.test"), L"w.a.test", refused},
        {"encoded wildcard", on("%2A.a.test"), L"www.a.test", refused},
        {"wildcard among other names", Chain({dns("b.test"), dns("*.a.test")}), L"www.a.test",
         accepted},
        {"wildcard in the common name", onlyCommon("*.a.test"), L"www.a.test", accepted},
        {"partial wildcard in the common name", onlyCommon("w*.a.test"), L"www.a.test", refused,
         partial},
        {"wildcard alone in the common name", onlyCommon("*"), L"a.test", refused},
        {"wildcard in another name's common name", onlyCommon("*.b.test"), L"www.a.test", refused},
    };
}

std::vector<NameCase> addressCases() {
    const auto at = [](const std::string& literal) { return Chain({address(literal)}); };
    const Remark zone{.laxer = "the zone is local to the machine and not part of the address; the "
                               "command treats it as a DNS name"};
    return {
        {"address", at("127.0.0.1"), L"127.0.0.1", accepted},
        {"another address", at("127.0.0.2"), L"127.0.0.1", refused},
        {"address backwards", at("1.0.0.127"), L"127.0.0.1", refused},
        {"second of two addresses", Chain({address("1.2.3.4"), address("127.0.0.1")}), L"127.0.0.1",
         accepted},
        {"IPv6 address", at("::1"), L"::1", accepted},
        {"IPv6 address in full", at("::1"), L"0:0:0:0:0:0:0:1", accepted},
        {"IPv6 address with zeros", at("::1"), L"0000::0001", accepted},
        {"IPv6 address in capitals", at("fe80::abcd"), L"FE80::ABCD", accepted},
        {"another IPv6 address", at("::2"), L"::1", refused},
        {"IPv6 address with a zone", at("fe80::1"), L"fe80::1%lo", accepted, zone},
        {"IPv6 address in brackets", at("::1"), L"[::1]", refused},
        {"IPv6 address in brackets as a DNS name",
         on("[::1]"),
         L"[::1]",
         refused,
         {.stricter = "what stands in brackets is an address, and no DNS name has brackets"}},
        {"mapped address against the short one", at("127.0.0.1"), L"::ffff:127.0.0.1", refused},
        {"short address against the mapped one", at("::ffff:127.0.0.1"), L"127.0.0.1", refused},
        {"mapped address", at("::ffff:127.0.0.1"), L"::ffff:127.0.0.1", accepted},
        {"any IPv4 address", at("0.0.0.0"), L"127.0.0.1", refused},
        {"any IPv6 address", at("::"), L"::1", refused},
        {"dot after the address", at("127.0.0.1"), L"127.0.0.1.", accepted, dotAtEnd},
        {"address as text among the DNS names", on("127.0.0.1"), L"127.0.0.1", refused},
        {"IPv6 address as text", on("::1"), L"::1", refused},
        {"address as text with a dot", on("127.0.0.1"), L"127.0.0.1.", refused},
        {"address as text with both dots",
         on("127.0.0.1."),
         L"127.0.0.1.",
         refused,
         {.stricter = otherSpelling.stricter}},
        {"wildcard for an address", on("*.0.0.1"), L"127.0.0.1", refused},
        {"wildcard at the end of an address", on("127.0.0.*"), L"127.0.0.1", refused},
        {"wildcard alone for an address", on("*"), L"127.0.0.1", refused},
        {"wildcards for an address", on("*.*.*.*"), L"127.0.0.1", refused},
        {"wildcard for an address with a dot", on("*.0.0.1"), L"127.0.0.1.", refused},
        {"address in the common name", onlyCommon("127.0.0.1"), L"127.0.0.1", refused},
        {"IPv6 address in the common name", onlyCommon("::1"), L"::1", refused},
        {"wildcard for an address in the common name", onlyCommon("*.0.0.1"), L"127.0.0.1",
         refused},
        {"text of an address instead of its bytes", Chain({addressBytes("127.0.0.1")}),
         L"127.0.0.1", refused},
        {"address of three bytes", Chain({addressBytes("\x7F\x01\x01")}), L"127.1.1", refused},
        {"address of five bytes", Chain({addressBytes("\x7F\0\0\x01\0"s)}), L"127.0.0.1", refused},
        {"address and mask", Chain({addressBytes("\x7F\0\0\x01\xFF\xFF\xFF\xFF"s)}), L"127.0.0.1",
         refused},
        {"mask that matches everything", Chain({addressBytes("\0\0\0\0\0\0\0\0"s)}), L"127.0.0.1",
         refused},
        {"address of no bytes", Chain({addressBytes("")}), L"127.0.0.1", refused},
        {"address of seventeen bytes", Chain({addressBytes(std::string(16, '\0') + "\1")}), L"::",
         refused},
        {"DNS name against an address", on("a.test"), L"127.0.0.1", refused},
        {"address against a DNS name", at("127.0.0.1"), L"a.test", refused},
        {"short spelling of the address", at("127.0.0.1"), L"127.1", refused},
        {"short spelling as a DNS name", on("127.1"), L"127.1", refused, otherSpelling},
        {"spelling with a leading zero as a DNS name", on("127.0.0.01"), L"127.0.0.01", refused,
         otherSpelling},
        {"wildcard for a spelling with a leading zero", on("*.0.0.01"), L"127.0.0.01", refused,
         otherSpelling},
        {"wildcard for a spelling of three parts", on("*.0.1"), L"127.0.1", refused, otherSpelling},
        {"spelling in one number as a DNS name", on("2130706433"), L"2130706433", refused,
         otherSpelling},
        {"spelling in hexadecimal as a DNS name", on("0x7f000001"), L"0x7f000001", refused,
         otherSpelling},
        {"wildcard for a spelling in hexadecimal", on("*.0.0.0x1"), L"127.0.0.0x1", refused,
         otherSpelling},
        {"short spelling in the common name", onlyCommon("127.1"), L"127.1", refused,
         otherSpelling},
        {"name that only begins like an address", on("127.0.0.1.test"), L"127.0.0.1.test",
         accepted},
        {"wildcard for a name that begins like an address", on("*.a.test"), L"127.a.test",
         accepted},
        {"number above 255 in a name", on("256.0.0.test"), L"256.0.0.test", accepted},
    };
}

std::vector<NameCase> zeroCases() {
    const auto common = [](const std::string& name) { return onlyCommon(name); };
    return {
        {"zero after the name", on("a.test\0"s), L"a.test", refused},
        {"zero after the name and another name", on("a.test\0.evil.test"s), L"a.test", refused},
        {"zero before the name", on("\0a.test"s), L"a.test", refused},
        {"zero inside of the name", on("a\0.test"s), L"a.test", refused},
        {"only a zero", on("\0"s), L"a.test", refused},
        {"zero in a wildcard name", on("*\0.a.test"s), L"www.a.test", refused},
        {"zero after a wildcard name", on("*.a.test\0"s), L"www.a.test", refused},
        {"zero after the common name", common("a.test\0"s), L"a.test", refused},
        {"zero after the common name and another name", common("a.test\0.evil.test"s), L"a.test",
         refused},
        {"zero before the common name", common("\0a.test"s), L"a.test", refused},
        {"zero inside of the common name", common("a\0.test"s), L"a.test", refused},
        {"zero in a name and the right one after", Chain({dns("x\0.test"s), dns("a.test")}),
         L"a.test", accepted},
        {"zero in the alternative name and the right common name",
         on("a.test\0.evil.test"s).commonName("a.test"), L"a.test", refused},
    };
}

std::vector<NameCase> internationalCases() {
    const std::string umlaut = "b\xC3\xBC"
                               "cher.test";
    const std::string capitalUmlaut = "B\xC3\x9C"
                                      "CHER.test";
    const Remark none;
    return {
        {"encoded name", on("xn--bcher-kva.test"), L"xn--bcher-kva.test", accepted},
        {"encoded name in capitals", on("XN--BCHER-KVA.test"), L"xn--bcher-kva.test", accepted},
        {"encoded name against the unencoded one", on("xn--bcher-kva.test"), L"b\u00FCcher.test",
         refused, none, umlaut},
        {"unencoded name against the encoded one", on(umlaut), L"xn--bcher-kva.test", refused},
        {"unencoded name in the common name against the encoded one", onlyCommon(umlaut),
         L"xn--bcher-kva.test", refused},
        {"unencoded name in other case", on(umlaut), L"B\u00DCCHER.test", refused, none,
         capitalUmlaut},
        {"unencoded name without its umlaut", on(umlaut), L"bucher.test", refused},
        {"unencoded name in Latin 1",
         on("b\xFC"
            "cher.test"),
         L"b\u00FCcher.test", refused, none, umlaut},
        {"unencoded common name", onlyCommon(umlaut), L"b\u00FCcher.test", accepted, none, umlaut},
        {"unencoded common name in Latin 1",
         onlyCommon("b\xFC"
                    "cher.test",
                    0x14),
         L"b\u00FCcher.test", accepted, none, umlaut},
        {"letter of another script that looks the same", on("\xD0\xB0.test"), L"a.test", refused},
        {"target of another script that looks the same", on("a.test"), L"\u0430.test", refused,
         none, "\xD0\xB0.test"},
        {"full stop of another script", on("a.test"), L"a\u3002test", refused, none,
         "a\xE3\x80\x82test"},
        {"wide letters", on("a.test"), L"\uFF41.test", refused, none, "\xEF\xBD\x81.test"},
        {"Kelvin sign", on("k.test"), L"\u212A.test", refused, none, "\xE2\x84\xAA.test"},
        {"long s", on("s.test"), L"\u017F.test", refused, none, "\xC5\xBF.test"},
        {"soft hyphen in the target", on("ab.test"), L"a\u00ADb.test", refused, none,
         "a\xC2\xAD"
         "b.test"},
        {"zero width joiner in the target", on("ab.test"), L"a\u200Db.test", refused, none,
         "a\xE2\x80\x8D"
         "b.test"},
        {"direction mark after the target", on("a.test"), L"a.test\u202E", refused, none,
         "a.test\xE2\x80\xAE"},
        {"encoded name that decodes to plain letters", on("xn--a-.test"), L"a.test", refused},
    };
}

std::vector<NameCase> commonNameCases() {
    const auto both = [](const std::string& alternative) {
        return on(alternative).commonName("a.test");
    };
    const auto beside = [](const Der& name) { return Chain({name}).commonName("a.test"); };
    return {
        {"common name alone", onlyCommon("a.test"), L"a.test", accepted},
        {"common name in capitals", onlyCommon("A.TEST"), L"a.test", accepted},
        {"another common name", onlyCommon("b.test"), L"a.test", refused},
        {"common name next to another alternative name", both("b.test"), L"a.test", refused},
        {"common name next to an empty alternative name", both(""), L"a.test", refused},
        {"common name next to a wildcard for others", both("*.b.test"), L"a.test", refused},
        {"common name next to a mail address", beside(email("me@b.test")), L"a.test", accepted},
        {"common name next to an address", beside(address("1.2.3.4")), L"a.test", accepted},
        {"common name next to the URI", beside(uri("https://b.test")), L"a.test", accepted},
        {"common name next to a directory name", beside(directory("b.test")), L"a.test", accepted},
        {"first of two common names", Chain(noNames).named(distinguished({"a.test", "b.test"})),
         L"a.test", accepted},
        {"second of two common names", Chain(noNames).named(distinguished({"b.test", "a.test"})),
         L"a.test", accepted},
        {"none of two common names", Chain(noNames).named(distinguished({"b.test", "c.test"})),
         L"a.test", refused},
        {"common name as PrintableString", onlyCommon("a.test", 0x13), L"a.test", accepted},
        {"common name as IA5String", onlyCommon("a.test", 0x16), L"a.test", accepted},
        {"common name as TeletexString", onlyCommon("a.test", 0x14), L"a.test", accepted},
        {"common name as BMPString", onlyCommon("\0a\0.\0t\0e\0s\0t"s, 0x1E), L"a.test", accepted},
        {"common name as UniversalString",
         onlyCommon("\0\0\0a\0\0\0.\0\0\0t\0\0\0e\0\0\0s\0\0\0t"s, 0x1C), L"a.test", accepted},
        {"common name as a bit string", onlyCommon("\0a.test"s, 0x03), L"a.test", refused},
        {"common name with a dot at its end", onlyCommon("a.test."), L"a.test", refused},
        {"common name with a port", onlyCommon("a.test:443"), L"a.test", refused},
        {"common name with a space", onlyCommon("a.test "), L"a.test", refused},
        {"no name at all", Chain(noNames).named(distinguished({})), L"a.test", refused},
        {"empty common name", onlyCommon(""), L"a.test", refused},
        {"empty alternative name", on(""), L"a.test", refused},
        {"alternative names in an empty subject", on("a.test").named(distinguished({})), L"a.test",
         accepted},
        {"mail address of the host", Chain({email("me@a.test")}), L"a.test", refused},
        {"mail address that is the name", Chain({email("a.test")}), L"a.test", refused},
        {"URI that is the name", Chain({uri("a.test")}), L"a.test", refused},
        {"URI of the host", Chain({uri("https://a.test/")}), L"a.test", refused},
        {"directory name that is the name", Chain({directory("a.test")}), L"a.test", refused},
        {"name of an unknown type", Chain({tlv(0x88, "\x2A\x03")}), L"a.test", refused},
    };
}

// The names "n0" to "n<count - 1>", each followed by end.
std::vector<Der> manyNames(int count, const std::string& end) {
    std::vector<Der> names;
    for (int i = 0; i < count; ++i) {
        names.push_back(dns("n" + std::to_string(i) + end));
    }
    return names;
}

std::vector<NameCase> manyCases() {
    return {
        {"last of 1000 names", Chain(manyNames(1000, ".a.test")), L"n999.a.test", accepted},
        {"last of 10000 names", Chain(manyNames(10000, "")), L"n9999", accepted},
        {"none of 10000 names", Chain(manyNames(10000, "")), L"n10000", refused},
    };
}

std::vector<NameCase> allCases() {
    std::vector<NameCase> all;
    for (const auto& cases : {plainCases(), wildcardCases(), addressCases(), zeroCases(),
                              internationalCases(), commonNameCases(), manyCases()}) {
        all.insert(all.end(), cases.begin(), cases.end());
    }
    return all;
}

class Names : public ::testing::TestWithParam<NameCase> {
protected:
    static void TearDownTestSuite() { counts.report("server names"); }

    static Counts counts;
};

Counts Names::counts;

TEST_P(Names, serverNameIsAcceptedOrRefused) {
    const NameCase& row = GetParam();
    const PresentedChain presented = row.chain.make();
    const HandshakeOutcome outcome = validatedByClient(presented, row.target);
    const SECURITY_STATUS status = row.accepted ? SEC_E_OK : SEC_E_WRONG_PRINCIPAL;
    EXPECT_EQ(outcome.lines, linesOfClient(status, row.target));
    EXPECT_EQ(outcome.peerFinished, row.accepted);
    EXPECT_EQ(statusOnRequest(presented, row.target) == 0, outcome.accepted);
    const std::string asked =
        row.asked.empty() ? std::string(row.target.begin(), row.target.end()) : row.asked;
    const Verification verification = verifiedByOpenSsl(presented, Purpose::server, asked);
    compare(counts, row.fact, row.accepted, outcome.accepted, verification.accepted, row.remark,
            verification.output);
}

INSTANTIATE_TEST_SUITE_P(, Names, ::testing::ValuesIn(allCases()),
                         [](const auto& row) { return nameOfFact(row.param.fact); });

} // namespace
} // namespace VexaSsl::test
