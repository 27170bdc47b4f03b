#include "certificates/KeyFacts.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

namespace {

struct Named {
    std::string_view identifier;
    const char* name;
    unsigned bits = 0; // 0: depends on the key
};

constexpr std::string_view rsaKey = "1.2.840.113549.1.1.1";
constexpr std::string_view pssKey = "1.2.840.113549.1.1.10"; // as a signature too
constexpr std::string_view dsaKey = "1.2.840.10040.4.1";
constexpr std::string_view ecKey = "1.2.840.10045.2.1";

constexpr Named keys[] = {
    {rsaKey, "RSA"},
    {pssKey, "RSA-PSS"},
    {dsaKey, "DSA"},
    {"1.3.101.112", "Ed25519", 256},
    {"1.3.101.113", "Ed448", 456},
};

constexpr Named curves[] = {
    {"1.2.840.10045.3.1.1", "EC P-192", 192}, {"1.3.132.0.33", "EC P-224", 224},
    {"1.2.840.10045.3.1.7", "EC P-256", 256}, {"1.3.132.0.34", "EC P-384", 384},
    {"1.3.132.0.35", "EC P-521", 521},        {"1.3.132.0.10", "EC secp256k1", 256},
};

constexpr Named signatures[] = {
    {"1.2.840.113549.1.1.2", "MD2 with RSA"},
    {"1.2.840.113549.1.1.3", "MD4 with RSA"},
    {"1.2.840.113549.1.1.4", "MD5 with RSA"},
    {"1.2.840.113549.1.1.5", "SHA-1 with RSA"},
    {"1.3.14.3.2.29", "SHA-1 with RSA"},
    {"1.2.840.113549.1.1.14", "SHA-224 with RSA"},
    {"1.2.840.113549.1.1.11", "SHA-256 with RSA"},
    {"1.2.840.113549.1.1.12", "SHA-384 with RSA"},
    {"1.2.840.113549.1.1.13", "SHA-512 with RSA"},
    {"1.2.840.10040.4.3", "SHA-1 with DSA"},
    {"2.16.840.1.101.3.4.3.2", "SHA-256 with DSA"},
    {"1.2.840.10045.4.1", "SHA-1 with ECDSA"},
    {"1.2.840.10045.4.3.1", "SHA-224 with ECDSA"},
    {"1.2.840.10045.4.3.2", "SHA-256 with ECDSA"},
    {"1.2.840.10045.4.3.3", "SHA-384 with ECDSA"},
    {"1.2.840.10045.4.3.4", "SHA-512 with ECDSA"},
    {"1.3.101.112", "Ed25519"},
    {"1.3.101.113", "Ed448"},
};

constexpr Named hashes[] = {
    {"1.2.840.113549.2.5", "MD5"},         {"1.3.14.3.2.26", "SHA-1"},
    {"2.16.840.1.101.3.4.2.4", "SHA-224"}, {"2.16.840.1.101.3.4.2.1", "SHA-256"},
    {"2.16.840.1.101.3.4.2.2", "SHA-384"}, {"2.16.840.1.101.3.4.2.3", "SHA-512"},
};

constexpr std::string_view weakHashes[] = {"MD2", "MD4", "MD5", "SHA-1"};

constexpr unsigned lowestModulus = 2048; // of RSA and DSA
constexpr unsigned lowestCurve = 224;

template <std::size_t count>
const Named* find(const Named (&table)[count], const std::string& identifier) {
    const auto* found = std::find_if(std::begin(table), std::end(table), [&](const Named& entry) {
        return entry.identifier == identifier;
    });
    return found == std::end(table) ? nullptr : found;
}

template <std::size_t count>
std::string nameIn(const Named (&table)[count], const std::string& identifier) {
    const Named* known = find(table, identifier);
    return known == nullptr ? identifier : known->name;
}

// An AlgorithmIdentifier.
struct Algorithm {
    std::string identifier;
    DerBytes parameters; // with their tag
};

Algorithm algorithmOf(DerBytes content) {
    DerReader reader(content);
    const DerBytes identifier = reader.next(DerTag::identifier);
    if (identifier.empty()) {
        return {};
    }
    const auto* end = identifier.data() + identifier.size();
    return {dottedIdentifier(identifier),
            content.subspan(static_cast<std::size_t>(end - content.data()))};
}

// The hash is the first of the parameters, SHA-1 without it.
std::string pssName(DerBytes parameters) {
    const DerBytes first =
        DerReader(DerReader(parameters).next(DerTag::sequence)).next(DerTag::context0);
    const std::string hash = algorithmOf(DerReader(first).next(DerTag::sequence)).identifier;
    return (hash.empty() ? "SHA-1" : nameIn(hashes, hash)) + " with RSA-PSS";
}

std::string signatureName(const Algorithm& algorithm) {
    return algorithm.identifier == pssKey ? pssName(algorithm.parameters)
                                          : nameIn(signatures, algorithm.identifier);
}

// point: uncompressed, a byte and two coordinates.
void readCurve(DerBytes parameters, DerBytes point, KeyFacts& facts) {
    const std::string curve = dottedIdentifier(DerReader(parameters).next(DerTag::identifier));
    const Named* known = find(curves, curve);
    facts.keyType = known == nullptr ? (curve.empty() ? "EC" : "EC " + curve) : known->name;
    facts.keyBits = known != nullptr ? known->bits : static_cast<unsigned>(point.size() / 2) * 8;
}

void readKey(DerBytes keyInfo, KeyFacts& facts) {
    DerReader reader(keyInfo);
    const Algorithm algorithm = algorithmOf(reader.next(DerTag::sequence));
    DerBytes key = reader.next(DerTag::bitString);
    key = key.empty() ? key : key.subspan(1); // the number of unused bits
    if (algorithm.identifier == ecKey) {
        readCurve(algorithm.parameters, key, facts);
        return;
    }
    facts.keyType = nameIn(keys, algorithm.identifier);
    if (algorithm.identifier == rsaKey || algorithm.identifier == pssKey) {
        const DerBytes numbers = DerReader(key).next(DerTag::sequence);
        facts.keyBits = bitCount(DerReader(numbers).next(DerTag::integer));
    } else if (algorithm.identifier == dsaKey) {
        const DerBytes numbers = DerReader(algorithm.parameters).next(DerTag::sequence);
        facts.keyBits = bitCount(DerReader(numbers).next(DerTag::integer));
    } else if (const Named* known = find(keys, algorithm.identifier)) {
        facts.keyBits = known->bits;
    }
}

// Returns the element that follows the version, which the first one may be.
DerBytes takeSerial(DerReader& fields) {
    std::optional<DerElement> first = fields.next();
    if (first && first->tag == DerTag::context0) {
        first = fields.next();
    }
    return first && first->tag == DerTag::integer ? first->content : DerBytes();
}

std::string weakHashOf(const std::string& signature) {
    const std::string hash = signature.substr(0, signature.find(' '));
    const bool isWeak =
        std::find(std::begin(weakHashes), std::end(weakHashes), hash) != std::end(weakHashes);
    return isWeak ? hash : std::string();
}

} // namespace

KeyFacts keyFactsOf(DerBytes certificate) {
    DerReader parts(DerReader(certificate).next(DerTag::sequence));
    DerReader fields(parts.next(DerTag::sequence));
    KeyFacts facts;
    facts.serial = hexadecimal(takeSerial(fields));
    facts.signature = signatureName(algorithmOf(fields.next(DerTag::sequence)));
    const DerBytes issuer = fields.next(DerTag::sequence);
    fields.next(); // validity
    const DerBytes subject = fields.next(DerTag::sequence);
    facts.isSelfIssued = std::equal(issuer.begin(), issuer.end(), subject.begin(), subject.end());
    readKey(fields.next(DerTag::sequence), facts);
    return facts;
}

std::string weaknessOf(const KeyFacts& facts) {
    const unsigned lowest = facts.keyType.starts_with("EC") ? lowestCurve
                            : facts.keyType.starts_with("RSA") || facts.keyType == "DSA"
                                ? lowestModulus
                                : 0;
    if (facts.keyBits != 0 && facts.keyBits < lowest) {
        return "its " + facts.keyType + " key has " + std::to_string(facts.keyBits) +
               " bits, and TLS asks for " + std::to_string(lowest) + " or more";
    }
    const std::string hash = facts.isSelfIssued ? "" : weakHashOf(facts.signature);
    return hash.empty() ? "" : "it is signed with " + hash + ", and TLS asks for SHA-256 or better";
}

} // namespace VexaSsl::tool
