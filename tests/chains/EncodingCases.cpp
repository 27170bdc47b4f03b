// Wrongly encoded certificates. Unreadable ones replace a valid one in the handshake; readable ones
// are properly signed.
#include "chains/Counts.h"
#include "chains/Validation.h"

#include <gtest/gtest.h>
#include <openssl/pkcs12.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

using namespace std::string_literals;

struct EncodingCase {
    std::string fact;
    Chain chain;
    ExpectedOutcome expected;
    Remark remark = {};
    bool storeAccepts = false; // although a peer's is refused
};

void PrintTo(const EncodingCase& row, std::ostream* out) {
    *out << row.fact;
}

const std::vector<Der> noNames;

// The default signature algorithm.
const Der algorithm = sequence({identifier("1.2.840.10045.4.3.2")});

// Not a certificate at all.
const ExpectedOutcome unreadable{SEC_E_ILLEGAL_MESSAGE, 0, "", SEC_E_ILLEGAL_MESSAGE};
const ExpectedOutcome good{};

ExpectedOutcome invalid(DWORD policy, const std::string& element = "leaf") {
    return {SEC_E_CERT_UNKNOWN, policy, element};
}

// A certificate with an unreadable extension neither issues others nor has an issuer.
ExpectedOutcome unlinked(const std::string& element = "leaf") {
    return {SEC_E_UNTRUSTED_ROOT, static_cast<DWORD>(CERT_E_CHAINING), element};
}

// The certificate is accepted, but the peer itself would have sent another one, so the handshake
// does not complete.
const ExpectedOutcome takenUnfinished{SEC_E_MESSAGE_ALTERED, 0, "", SEC_E_MESSAGE_ALTERED};

// --- Wrong encodings.

Edit cutBy(std::size_t size) {
    return [size](const Der& bytes) { return bytes.substr(0, bytes.size() - size); };
}
Edit cutTo(std::size_t size) {
    return [size](const Der& bytes) { return bytes.substr(0, size); };
}
Edit replacedBy(const Der& other) {
    return [other](const Der&) { return other; };
}
Edit followedBy(const Der& more) {
    return [more](const Der& bytes) { return bytes + more; };
}
Edit byteSet(std::size_t at, unsigned char value) {
    return [at, value](Der bytes) {
        bytes.at(at) = static_cast<char>(value);
        return bytes;
    };
}

// The content after tag and length.
Der contentOf(const Der& bytes) {
    const auto length = static_cast<unsigned char>(bytes.at(1));
    return bytes.substr(length < 0x80 ? 2U : 2U + (length & 0x7FU));
}
Edit headed(const Der& header, const Der& end = {}) {
    return [header, end](const Der& bytes) { return header + contentOf(bytes) + end; };
}
Edit inside(const Edit& edit) {
    return [edit](const Der& bytes) { return tlv(0x30, edit(contentOf(bytes))); };
}

Edit swapped(const Der& from, const Der& to) {
    return [from, to](Der bytes) {
        const std::size_t at = bytes.find(from);
        if (at == Der::npos) {
            throw std::logic_error("nothing to swap");
        }
        return bytes.replace(at, from.size(), to);
    };
}
Edit swappedInside(const Der& from, const Der& to) {
    return inside(swapped(from, to));
}

Der nested(const Der& opening, std::size_t depth) {
    Der bytes;
    for (std::size_t i = 0; i < depth; ++i) {
        bytes += opening;
    }
    return bytes;
}

std::vector<EncodingCase> wholeCases() {
    const auto row = [](const std::string& fact, const Edit& edit) {
        return EncodingCase{fact, Chain().edit(edit), unreadable};
    };
    const auto withTrailingBytes = [](const std::string& fact, const Edit& edit) {
        const Remark strict{.stricter = "nothing may follow a certificate"};
        return EncodingCase{fact, Chain().edit(edit), unreadable, strict, true};
    };
    std::vector<EncodingCase> rows = {
        row("nothing", replacedBy("")),
        row("one byte", replacedBy("\x30")),
        row("an empty sequence", replacedBy("\x30\x00"s)),
        row("one zero", replacedBy("\0"s)),
        row("text", replacedBy("certificate")),
        row("half a PEM header inside", [](const Der& bytes) { return pemOf(bytes).substr(1); }),
        row("a thousand zeros", replacedBy(Der(1000, '\0'))),
        row("a thousand ones", replacedBy(Der(1000, '\xFF'))),
        row("without its last byte", cutBy(1)),
        row("without its last two bytes", cutBy(2)),
        row("without its signature", cutBy(80)),
        row("only the header", cutTo(4)),
        row("half the header", cutTo(2)),
        row("a hundred bytes of it", cutTo(100)),
        row("a set instead of a sequence", byteSet(0, 0x31)),
        row("a string instead of a sequence", byteSet(0, 0x04)),
        row("a tag of many bytes", byteSet(0, 0x3F)),
        row("a tag of another class", byteSet(0, 0xB0)),
        row("a sequence that isn't constructed", byteSet(0, 0x10)),
        row("the signed part as a set", byteSet(4, 0x31)),
        row("length one too long",
            [](const Der& bytes) {
                return byteSet(3, static_cast<unsigned char>(bytes[3] + 1))(bytes);
            }),
        row("length one too short",
            [](const Der& bytes) {
                return byteSet(3, static_cast<unsigned char>(bytes[3] - 1))(bytes);
            }),
        row("length of 65535", headed("\x30\x82\xFF\xFF")),
        row("length of four bytes at their most", headed("\x30\x84\xFF\xFF\xFF\xFF")),
        row("length of four bytes just negative", headed("\x30\x84\x80\x00\x00\x00"s)),
        row("length of eight bytes", headed("\x30\x88\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF")),
        row("length of eight bytes just negative",
            headed("\x30\x88\x80\x00\x00\x00\x00\x00\x00\x00"s)),
        row("length of 126 bytes", headed("\x30\xFE")),
        row("reserved length", headed("\x30\xFF")),
        row("no end to an indefinite length", headed("\x30\x80")),
        row("half an end to an indefinite length", headed("\x30\x80", "\0"s)),
        withTrailingBytes("a byte after it", followedBy("\0"s)),
        withTrailingBytes("another certificate after it",
                          [](const Der& bytes) { return bytes + bytes; }),
        withTrailingBytes("the end of an indefinite length after it", followedBy("\0\0"s)),
        row("sequences in sequences", replacedBy(nested("\x30\x80", 20000))),
        row("sequences in sequences within a length",
            replacedBy(tlv(0x30, nested("\x30\x80", 10000)))),
        row("strings in strings", replacedBy(nested("\x24\x80", 20000))),
        row("without a signature algorithm",
            replacedBy(sequence({sequence({}), bits("signature")}))),
        row("the signature as a byte string",
            [](const Der& bytes) {
                const std::size_t at = bytes.rfind(algorithm) + algorithm.size();
                return byteSet(at, 0x04)(bytes);
            }),
    };
    for (const std::size_t size : {5U, 10U, 20U, 50U, 150U, 200U, 250U, 300U}) {
        rows.push_back(row("its first " + std::to_string(size) + " bytes", cutTo(size)));
    }
    return rows;
}

// Other encodings of the length, which the signature doesn't cover.
std::vector<EncodingCase> lengthCases() {
    const auto row = [](const std::string& fact, const Edit& edit) {
        return EncodingCase{fact, Chain().edit(edit), takenUnfinished};
    };
    return {
        row("length with a leading zero",
            [](const Der& bytes) { return "\x30\x83\x00"s + bytes.substr(2); }),
        row("length with six leading zeros",
            [](const Der& bytes) { return "\x30\x88\0\0\0\0\0\0"s + bytes.substr(2); }),
        row("indefinite length", headed("\x30\x80", "\0\0"s)),
    };
}

std::vector<EncodingCase> fieldCases() {
    const ExpectedOutcome wrongTime{SEC_E_CERT_UNKNOWN, static_cast<DWORD>(CERT_E_EXPIRED), "leaf"};
    // OpenSSL 3.3 and later refuse a time that is too short.
    const ExpectedOutcome tooShort = OPENSSL_VERSION_PREREQ(3, 3) ? unreadable : wrongTime;
    const auto times = [](const Der& first, const Der& last) {
        return Chain().validity(sequence({first, last}));
    };
    const auto time = [](const std::string& text) { return tlv(0x18, text); };
    const auto shortTime = [](const std::string& text) { return tlv(0x17, text); };
    const Der years = sequence({day(-10), day(1000)});
    const ExpectedOutcome unknownSignature{SEC_E_UNTRUSTED_ROOT, 0, "", SEC_E_MESSAGE_ALTERED};
    const ExpectedOutcome badSignature{SEC_E_CERT_UNKNOWN, 0, "", SEC_E_MESSAGE_ALTERED};
    return {
        {"version of two", Chain().version(1), good},
        {"version of six", Chain().version(5), good},
        {"version of a million", Chain().version(1000000), good},
        {"negative version", Chain().version(-1), good},
        {"first version with extensions", Chain().version(0), good},
        {"negative serial number", Chain().serial(integer(-5)), good},
        {"serial number of zero", Chain().serial(integer(0)), good},
        {"serial number without digits", Chain().serial(tlv(0x02, "")), unreadable},
        {"serial number with leading zeros", Chain().serial(tlv(0x02, "\0\0\5"s)), unreadable},
        {"serial number of a thousand bytes", Chain().serial(tlv(0x02, Der(1000, '\x11'))), good},
        {"serial number as a string", Chain().serial(tlv(0x04, "5")), unreadable},
        {"serial number as an enumeration", Chain().serial(tlv(0x0A, "\5")), unreadable},
        {"no serial number", Chain().serial(""), unreadable},
        {"two serial numbers", Chain().serial(integer(1) + integer(2)), unreadable},
        {"times as UTCTime", times(shortTime("200101000000Z"), shortTime("490101000000Z")), good},
        {"times until the end of time", times(time("20200101000000Z"), time("99991231235959Z")),
         good},
        {"times in the wrong order",
         times(day(1000), day(-10)),
         {SEC_E_CERT_EXPIRED, static_cast<DWORD>(CERT_E_EXPIRED), "leaf"}},
        {"time of the thirteenth month", times(time("20201301000000Z"), day(10)), wrongTime},
        {"time of the thirtieth of February", times(day(-10), time("20990230000000Z")), wrongTime},
        {"time of the 25th hour", times(day(-10), time("20990101250000Z")), wrongTime},
        {"time without a zone", times(day(-10), time("20990101000000")), tooShort},
        {"time with an offset", times(day(-10), time("20990101000000+0100")), wrongTime},
        {"time with a fraction", times(day(-10), time("20990101000000.5Z")), wrongTime},
        {"time as UTCTime without seconds", times(shortTime("2001010000Z"), day(10)), tooShort},
        {"empty time", times(day(-10), time("")), tooShort},
        {"time in words", times(day(-10), time("tomorrow")), tooShort},
        {"time with a zero inside", times(day(-10), time("2099010100000\0Z"s)), wrongTime},
        {"time with a sign", times(day(-10), time("-0990101000000Z")), wrongTime},
        {"time as a number", times(day(-10), integer(5)), unreadable},
        {"only one time", Chain().validity(sequence({day(-10)})), unreadable},
        {"three times", Chain().validity(sequence({day(-10), day(10), day(20)})), unreadable},
        {"no times", Chain().validity(sequence({})), unreadable},
        {"signature algorithm that differs inside",
         Chain().forced().editUnsigned(
             swappedInside(algorithm, sequence({identifier("1.2.840.10045.4.3.3")}))),
         badSignature},
        {"unknown signature algorithm inside",
         Chain().forced().editUnsigned(swappedInside(algorithm, sequence({identifier("1.2.3.4")}))),
         unknownSignature},
        {"unknown signature algorithm",
         Chain()
             .forced()
             .editUnsigned(swappedInside(algorithm, sequence({identifier("1.2.3.4")})))
             .edit(inside([](Der bytes) {
                 return bytes.replace(bytes.rfind(algorithm), algorithm.size(),
                                      sequence({identifier("1.2.3.4")}));
             })),
         unknownSignature},
        {"no signature algorithm inside", Chain().editUnsigned(swappedInside(algorithm, "")),
         unreadable},
        {"an additional field", Chain().editUnsigned(inside(followedBy(integer(5)))), unreadable},
        {"invalid UTF 8 in the subject", Chain().commonName("a.test\xC3"), unreadable},
        {"bytes as the subject", Chain().commonName("a.test", 0x04), unreadable},
        {"number as the subject", Chain().named(sequence({integer(5)})), unreadable},
        {"subject of a thousand parts",
         Chain().named(distinguished(std::vector<std::string>(1000, "leaf"))), good},
        {"subject with an empty part", Chain().named(sequence({tlv(0x31, "")})), good},
    };
}

std::vector<EncodingCase> keyCases() {
    const ExpectedOutcome badKey{SEC_E_CERT_UNKNOWN, 0, "", SEC_E_ILLEGAL_MESSAGE};
    const ExpectedOutcome unusableKey{SEC_E_CERT_UNKNOWN, 0, "", SEC_E_ALGORITHM_MISMATCH};
    const ExpectedOutcome keyWithoutOwner{SEC_E_MESSAGE_ALTERED, 0, "", SEC_E_MESSAGE_ALTERED};
    const auto edited = [](const Edit& edit) { return Chain().editPublicKey(edit); };
    const auto ofBetween = [](const Edit& edit) {
        return Chain().issuer("between").editPublicKey(edit);
    };
    const ExpectedOutcome badIssuer = unlinked();
    const Der elliptic = identifier("1.2.840.10045.2.1");
    const Der curve = identifier("1.2.840.10045.3.1.7");
    const Der rsa = sequence({identifier("1.2.840.113549.1.1.1"), tlv(0x05, "")});
    const auto rsaKey = [rsa](const Der& modulus, const Der& exponent) {
        return replacedBy(
            sequence({rsa, bits(sequence({tlv(0x02, modulus), tlv(0x02, exponent)}))}));
    };
    // Not a field: among its 697 elements the search for a square root does not end.
    const Der trap =
        sequence({integer(1), sequence({identifier("1.2.840.10045.1.1"), integer(697)}),
                  sequence({tlv(0x04, "\x17"), tlv(0x04, "\x01")}), tlv(0x04, "\x02\x00\x08"s),
                  integer(701), integer(1)});
    const auto flipped = [](Der bytes) {
        bytes.back() = static_cast<char>(bytes.back() ^ 1);
        return bytes;
    };
    return {
        {"key off its curve", edited(flipped), badKey},
        {"key of no bytes", edited(replacedBy(sequence({sequence({elliptic, curve}), bits("")}))),
         badKey},
        {"key at infinity",
         edited(replacedBy(sequence({sequence({elliptic, curve}), bits("\0"s)}))),
         keyWithoutOwner,
         {.stricter = "no signature by such a key can be verified"}},
        {"key of an unknown curve",
         edited(replacedBy(sequence({sequence({elliptic, identifier("1.2.3")}), bits("\4")}))),
         badKey},
        {"key of an unknown type",
         edited(replacedBy(sequence({sequence({identifier("1.2.3")}), bits("\4")}))), badKey},
        {"key on an invalid curve",
         edited(replacedBy(sequence({sequence({elliptic, trap}), bits("\2\0\x08"s)}))),
         unusableKey},
        {"issuer's key on an invalid curve",
         ofBetween(replacedBy(sequence({sequence({elliptic, trap}), bits("\2\0\x08"s)}))),
         invalid(static_cast<DWORD>(CERT_E_CHAINING), "between")},
        {"issuer's key off its curve", ofBetween(flipped), badIssuer},
        {"issuer's key of an unknown type",
         ofBetween(replacedBy(sequence({sequence({identifier("1.2.3")}), bits("\4")}))), badIssuer},
        {"issuer's key of 32000 bits", ofBetween(rsaKey("\x7F" + Der(4000, '\x77'), "\1\0\1"s)),
         badIssuer},
        {"issuer's key with a modulus of zero", ofBetween(rsaKey("\0"s, "\1\0\1"s)), badIssuer},
        {"issuer's key with an exponent of zero",
         ofBetween(rsaKey("\x7F" + Der(255, '\x77'), "\0"s)), badIssuer},
        {"issuer's key with an exponent of one", ofBetween(rsaKey("\x7F" + Der(255, '\x77'), "\1")),
         badIssuer},
        {"issuer's key with a huge exponent",
         ofBetween(rsaKey("\x7F" + Der(255, '\x77'), "\x7F" + Der(255, '\x71'))), badIssuer},
        {"issuer's key with a negative modulus", ofBetween(rsaKey(Der(256, '\xF7'), "\1\0\1"s)),
         badIssuer},
        {"no key", edited(replacedBy("")), unreadable},
        {"number instead of a key", edited(replacedBy(integer(5))), unreadable},
    };
}

// Wrong contents of the extensions that TLS uses.
std::vector<EncodingCase> extensionCases() {
    struct Kind {
        const char* name;
        const char* identifier;
        Der right;
    };
    const Kind kinds[] = {
        {"names", "2.5.29.17", sequence({dns("a.test")})},
        {"usages", "2.5.29.37",
         sequence({identifier(serverAuthentication), identifier(clientAuthentication)})},
        {"key usage", "2.5.29.15", bits("\x80")},
        {"constraints", "2.5.29.19", sequence({})},
        {"name constraints", "2.5.29.30", sequence({})},
        {"authority key", "2.5.29.35", sequence({})},
        {"subject key", "2.5.29.14", tlv(0x04, "key")},
        {"distribution points", "2.5.29.31", sequence({})},
    };
    const ExpectedOutcome bad = unlinked();
    std::vector<EncodingCase> rows;
    for (const Kind& kind : kinds) {
        const auto row = [&](const std::string& fact, const Der& content) {
            Chain chain(std::string(kind.name) == "names" ? noNames
                                                          : std::vector<Der>{dns("a.test")});
            if (std::string(kind.name) == "usages") {
                chain.withoutUsages();
            }
            rows.push_back({fact + " " + kind.name,
                            chain.with(extension(kind.identifier, false, content)), bad});
            return &rows.back();
        };
        row("empty", "");
        row("null instead of", tlv(0x05, ""));
        row("text instead of", "what ever");
        row("cut", kind.right.substr(0, kind.right.size() - 1) + "");
        row("too long", kind.right.substr(0, 1) + "\x7F" + kind.right.substr(2));
        Chain twice(std::string(kind.name) == "names" ? noNames : std::vector<Der>{dns("a.test")});
        if (std::string(kind.name) == "usages") {
            twice.withoutUsages();
        }
        rows.push_back({std::string("two times ") + kind.name,
                        twice.with(extension(kind.identifier, false, kind.right))
                            .with(extension(kind.identifier, false, kind.right)),
                        bad});
    }
    return rows;
}

std::vector<EncodingCase> unusualExtensionCases() {
    const ExpectedOutcome bad = unlinked();
    const auto names = [](const Der& content) {
        return Chain(noNames).with(extension("2.5.29.17", false, content));
    };
    const Der right = sequence({dns("a.test")});
    return {
        {"names with a byte after them", names(right + "\0"s), good},
        {"names of an indefinite length", names("\x30\x80"s + dns("a.test") + "\0\0"s), good},
        {"name with a length of eight bytes",
         names(sequence({"\x82\x88\0\0\0\0\0\0\0\x06"s + "a.test"})), good},
        {"name of a constructed string",
         names(sequence({tlv(0xA2, tlv(0x16, "a.") + tlv(0x16, "test"))})), good},
        {"name of a type without a number", names(sequence({tlv(0x8F, "a.test")})), bad},
        {"name as plain text", names(sequence({tlv(0x16, "a.test")})), bad},
        {"name longer than its list", names("\x30\x08\x82\x7F"s + "a.test"), bad},
        {"empty list of names", names(sequence({})), {SEC_E_WRONG_PRINCIPAL, 0, ""}},
        {"extension without a value", Chain().with(sequence({identifier("1.2.3")})), unreadable},
        {"extension without an identifier", Chain().with(sequence({tlv(0x04, "")})), unreadable},
        {"extension with an empty identifier",
         Chain().with(sequence({tlv(0x06, ""), tlv(0x04, "")})), unreadable},
        {"extension with a padded identifier",
         Chain().with(sequence({tlv(0x06, "\x2A\x80\x01"), tlv(0x04, "")})), unreadable},
        {"extension with a truncated identifier",
         Chain().with(sequence({tlv(0x06, "\x2A\x83"), tlv(0x04, "")})), unreadable},
        {"extension with an identifier of a thousand bytes",
         Chain().with(sequence({tlv(0x06, Der(1000, '\x2A')), tlv(0x04, "")})), good},
        {"extension with a value as a bit string",
         Chain().with(sequence({identifier("1.2.3"), bits("")})), unreadable},
        {"extension marked as not critical",
         Chain().with(sequence({identifier("1.2.3"), tlv(0x01, "\0"s), tlv(0x04, "")})), good},
        {"unknown extension that is critical in another encoding",
         Chain().with(sequence({identifier("1.2.3"), tlv(0x01, "\1"), tlv(0x04, "")})),
         invalid(static_cast<DWORD>(CERT_E_CRITICAL))},
        {"extension with an empty criticality",
         Chain().with(sequence({identifier("1.2.3"), tlv(0x01, ""), tlv(0x04, "")})), unreadable},
        {"extension with an additional field",
         Chain().with(sequence({identifier("1.2.3"), tlv(0x04, ""), integer(5)})), unreadable},
        {"number among the extensions", Chain().with(integer(5)), unreadable},
        {"empty list of extensions",
         Chain(noNames).withoutUsages().commonName("a.test").editUnsigned(
             inside(followedBy(tlv(0xA3, sequence({}))))),
         good},
        {"path length that is negative", Chain().issuer("between").pathLength(-1), unlinked()},
        {"path length of a certificate that is no authority",
         Chain().with(extension("2.5.29.19", true, sequence({integer(0)}))), good},
        {"broken extension that is not read", Chain().with(extension("2.5.29.18", false, "what")),
         good},
        {"broken critical policy constraints", Chain().with(extension("2.5.29.36", true, "what")),
         good},
        {"constraints twice that differ",
         Chain().issuer("between").with(extension("2.5.29.19", true, sequence({}))), unlinked()},
        {"usages twice that differ",
         Chain().with(extension("2.5.29.37", false, sequence({identifier(codeSigning)}))), bad},
        {"names twice that differ",
         Chain({dns("b.test")}).with(extension("2.5.29.17", false, right)), bad},
    };
}

std::vector<EncodingCase> allCases() {
    std::vector<EncodingCase> all;
    for (const auto& cases : {wholeCases(), lengthCases(), fieldCases(), keyCases(),
                              extensionCases(), unusualExtensionCases()}) {
        all.insert(all.end(), cases.begin(), cases.end());
    }
    return all;
}

// A certificate and its key as PKCS#12 without encryption.
std::string pkcs12Of(const Der& bytes, EVP_PKEY* key) {
    ASN1_TYPE* raw = ASN1_TYPE_new();
    ASN1_STRING* value = ASN1_STRING_new();
    ASN1_STRING_set(value, bytes.data(), static_cast<int>(bytes.size()));
    ASN1_TYPE_set(raw, V_ASN1_SEQUENCE, value);
    STACK_OF(PKCS12_SAFEBAG)* bags = sk_PKCS12_SAFEBAG_new_null();
    PKCS12_SAFEBAG* bag =
        PKCS12_item_pack_safebag(raw, ASN1_ITEM_rptr(ASN1_ANY), NID_x509Certificate, NID_certBag);
    if (bag) { // null for an empty certificate
        sk_PKCS12_SAFEBAG_push(bags, bag);
    }
    PKCS12_add_key(&bags, key, 0, 0, -1, nullptr);
    STACK_OF(PKCS7)* safes = nullptr;
    PKCS12_add_safe(&safes, bags, -1, 0, nullptr);
    PKCS12* file = PKCS12_add_safes(safes, 0);
    PKCS12_set_mac(file, "", 0, nullptr, 0, 1, EVP_sha256());
    unsigned char* encoded = nullptr;
    const int size = i2d_PKCS12(file, &encoded);
    const std::string text(reinterpret_cast<char*>(encoded),
                           static_cast<std::size_t>(std::max(size, 0)));
    OPENSSL_free(encoded);
    PKCS12_free(file);
    sk_PKCS7_pop_free(safes, PKCS7_free);
    sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
    ASN1_TYPE_free(raw);
    return text;
}

class Encodings : public ::testing::TestWithParam<EncodingCase> {
protected:
    static void TearDownTestSuite() {
        counts.report("encodings");
        stored.report("encodings in the store, as PEM, DER and PKCS12", false);
    }

    static Counts counts;
    static Counts stored;
};

// Whether the certificate is accepted, even in a handshake that cannot complete.
bool isAccepted(const EncodingCase& row, bool isGood) {
    return isGood ||
           (row.expected.handshake == SEC_E_MESSAGE_ALTERED &&
            row.expected.clientStatus == SEC_E_MESSAGE_ALTERED && row.remark.stricter.empty());
}

Counts Encodings::counts;
Counts Encodings::stored;

TEST_P(Encodings, clientValidatesTheServersCertificate) {
    const EncodingCase& row = GetParam();
    const PresentedChain presented = row.chain.make();
    const HandshakeOutcome outcome = validatedByClient(presented, L"a.test");
    EXPECT_EQ(outcome.lines, linesOfClient(row.expected.clientStatus, L"a.test"));
    // Only a handshake has a signature by the key itself.
    const bool isGoodChain = isAccepted(row, row.expected.isGood()) ||
                             row.expected.clientStatus == SEC_E_MESSAGE_ALTERED;
    EXPECT_EQ(statusOnRequest(presented, L"a.test") == 0, isGoodChain);
    const Verification verification = verifiedByOpenSsl(presented, Purpose::server, "a.test");
    compare(counts, row.fact, isAccepted(row, row.expected.isGood()), outcome.accepted,
            verification.accepted, row.remark, verification.output);
}

TEST_P(Encodings, serverValidatesTheClientsCertificate) {
    const EncodingCase& row = GetParam();
    const PresentedChain presented = row.chain.make();
    const HandshakeOutcome outcome = validatedByServer(presented);
    EXPECT_EQ(outcome.lines, linesOfServer(row.expected));
    // An accepted certificate of an incomplete handshake fails at the proof of the key.
    const bool accepted = outcome.accepted || isAccepted(row, false);
    const Verification verification = verifiedByOpenSsl(presented, Purpose::client);
    compare(counts, row.fact, isAccepted(row, row.expected.isGoodClient()), accepted,
            verification.accepted, row.remark, verification.output);
}

TEST_P(Encodings, storeReadsTheCertificate) {
    const EncodingCase& row = GetParam();
    const PresentedChain presented = row.chain.make();
    const Der leaf = presented.certificates.front();
    std::string all;
    for (const Der& certificate : presented.certificates) {
        all += pemOf(certificate);
    }
    const Entry asPem = readFromStore("case.pem", all, presented.key);
    const Entry asDer = readFromStore("case.cer", leaf, presented.key);
    const Entry asPkcs12 = readFromStore("case.p12", pkcs12Of(leaf, presented.key), presented.key);
    const bool accepted = isAccepted(row, row.expected.isGoodClient()) || row.storeAccepts;
    for (const Entry& entry : {asPem, asDer, asPkcs12}) {
        EXPECT_TRUE(entry.otherEntriesFound);
        EXPECT_EQ(entry.trustedClient, accepted);
        stored.note(accepted, entry.trustedClient);
    }
}

INSTANTIATE_TEST_SUITE_P(, Encodings, ::testing::ValuesIn(allCases()),
                         [](const auto& row) { return nameOfFact(row.param.fact); });

} // namespace
} // namespace VexaSsl::test
