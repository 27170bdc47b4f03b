// A chain of certificates in one expression, the leaf first:
//
//   Chain({dns("a.test")}).expired()                       a leaf issued by the trusted root
//   Chain().issuer("between").pathLength(0).root("other")  with an intermediate, below another root
//
// Descriptions apply to the certificate named last. Each certificate is signed by the next one, the
// last one by its root. Keys are made once per name and type and shared by all chains.
//
// Not thread-safe.
#pragma once

#include "chains/Der.h"

#include <openssl/evp.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace VexaSsl::test {

enum class KeyKind { p256, p192, rsa512, rsa1024, rsa2048, ed25519 };
enum class Digest { sha256, sha1, md5 };

// The key of a name; never freed.
EVP_PKEY* keyOf(const std::string& name, KeyKind kind = KeyKind::p256);

using Edit = std::function<Der(Der)>;

struct Link {
    std::string name;    // the common name, unless subject is given
    std::string keyName; // the name of its key; empty: its own name
    std::optional<Der> subject = {};
    std::optional<Der> issuerName = {}; // if different from the issuer's subject
    std::vector<Der> names = {};        // alternative names
    bool criticalNames = false;
    bool isAuthority = false;
    bool hasConstraints = false;
    std::optional<long> pathLength = {};
    std::vector<std::string> usages = {}; // object identifiers
    bool hasUsages = false;
    std::optional<unsigned char> keyUsage = {}; // the first eight bits
    std::vector<Der> permitted = {};
    std::vector<Der> excluded = {};
    std::vector<Der> extensions = {}; // further extensions, encoded
    int firstDay = -10;
    int lastDay = 1000;
    KeyKind key = KeyKind::p256;
    Digest digest = Digest::sha256;
    long version = 2;
    std::optional<Der> serial = {};
    std::optional<Der> validity = {};
    std::optional<std::string> signer = {}; // the name of the signing key, if not the issuer's
    Edit editUnsigned = {};                 // of the signed part
    Edit editPublicKey = {};
    Edit edit = {}; // of the whole certificate
};

// Certificates as a peer sends them.
struct PresentedChain {
    std::vector<Der> certificates; // leaf first
    EVP_PKEY* key = nullptr;       // the leaf's
    bool isForced = false;         // sent even if a TLS library would not send it
};

class Chain {
public:
    // A leaf called "leaf", valid for servers and clients, with the name "a.test" unless other
    // alternative names are given.
    Chain();
    explicit Chain(const std::vector<Der>& names);

    Chain& issuer(const std::string& name); // an authority
    Chain& root(const std::string& name);   // default: "root"; see roots()

    Chain& expired();
    Chain& notYetValid();
    Chain& named(const Der& subject);
    Chain& commonName(const std::string& bytes, unsigned char tag = 0x0C);
    Chain& usages(const std::vector<std::string>& identifiers); // may be empty
    Chain& withoutUsages();
    Chain& keyUsage(unsigned char firstBits);
    Chain& authority(bool is = true);
    Chain& withoutConstraints();
    Chain& pathLength(long most);
    Chain& permitted(const std::vector<Der>& names);
    Chain& excluded(const std::vector<Der>& names);
    Chain& with(const Der& extension);
    Chain& key(KeyKind kind);
    Chain& keyNamed(const std::string& name);
    Chain& digest(Digest kind);
    Chain& version(long number);
    Chain& serial(const Der& number);
    Chain& validity(const Der& times); // the encoded pair
    Chain& issuerNamed(const std::string& commonName);
    Chain& signedBy(const std::string& keyName);
    Chain& selfSigned();
    Chain& criticalNames();
    Chain& editUnsigned(Edit edit);
    Chain& editPublicKey(Edit edit);
    Chain& edit(Edit edit);

    // By default every certificate except the root is presented, leaf first.
    Chain& omit(const std::string& name);
    Chain& reversed();                     // all after the leaf
    Chain& andPresent(const Chain& other); // then the other chain's certificates
    Chain& andPresentRoot();
    Chain& forced();

    PresentedChain make() const;
    const Link& leaf() const { return links.front(); }

private:
    Chain& change(const std::function<void(Link&)>& how);

    std::vector<Link> links;
    std::string rootName = "root";
    std::vector<std::string> omitted;
    bool backwards = false;
    bool presentsRoot = false;
    bool isForced = false;
    std::vector<Chain> others;
};

// Returns a certificate with the issuer's name, signed by the issuer's or the signer's key.
Der issue(const Link& link, const Link& issuer);

// All trust anchors.
const std::vector<Link>& roots();

inline const std::string serverAuthentication = "1.3.6.1.5.5.7.3.1";
inline const std::string clientAuthentication = "1.3.6.1.5.5.7.3.2";
inline const std::string codeSigning = "1.3.6.1.5.5.7.3.3";
inline const std::string anyUsage = "2.5.29.37.0";

} // namespace VexaSsl::test
