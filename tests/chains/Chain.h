// A chain of certificates in one expression, the leaf first:
//
//   Chain({dns("a.test")}).expired()                       a leaf that the trusted root has issued
//   Chain().issuer("between").pathLength(0).root("other")  with an intermediate, below another root
//
// What describes a certificate is said of the one named last. A certificate is signed by the next
// one, the last one by its root. Keys are made once a name and kind and shared by all chains.
//
// Threads: one at a time.
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

// The key that belongs to a name; never freed.
EVP_PKEY* keyOf(const std::string& name, KeyKind kind = KeyKind::p256);

using Edit = std::function<Der(Der)>;

struct Link {
    std::string name;    // what messages call it: the common name, unless subject is given
    std::string keyName; // whose key it bears; its own name's if empty
    std::optional<Der> subject = {};
    std::optional<Der> issuerName = {}; // if it isn't the issuer's subject
    std::vector<Der> names = {};        // alternative ones
    bool criticalNames = false;
    bool isAuthority = false;
    bool tellsConstraints = false;
    std::optional<long> pathLength = {};
    std::vector<std::string> usages = {}; // object identifiers
    bool tellsUsages = false;
    std::optional<unsigned char> keyUsage = {}; // the first eight bits
    std::vector<Der> permitted = {};
    std::vector<Der> excluded = {};
    std::vector<Der> extensions = {}; // further ones, encoded
    int firstDay = -10;
    int lastDay = 1000;
    KeyKind key = KeyKind::p256;
    Digest digest = Digest::sha256;
    long version = 2;
    std::optional<Der> serial = {};
    std::optional<Der> validity = {};
    std::optional<std::string> signer = {}; // the name whose key signs, if it isn't the issuer's
    Edit editUnsigned = {};                 // of what is signed
    Edit editPublicKey = {};
    Edit edit = {}; // of the whole
};

// Certificates as a peer shows them.
struct Shown {
    std::vector<Der> certificates; // leaf first
    EVP_PKEY* key = nullptr;       // the leaf's
    bool isForced = false;         // where a TLS library would rather show nothing
};

class Chain {
public:
    // A leaf called "leaf", good for both ends of a connection and made out to "a.test" unless
    // other alternative names are given.
    Chain();
    explicit Chain(const std::vector<Der>& names);

    Chain& issuer(const std::string& name); // an authority
    Chain& root(const std::string& name);   // "root" otherwise; see Roots.cpp

    Chain& expired();
    Chain& notYetValid();
    Chain& named(const Der& subject);
    Chain& commonName(const std::string& bytes, unsigned char tag = 0x0C);
    Chain& usages(const std::vector<std::string>& identifiers); // none: an empty extension
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
    Chain& validity(const Der& times); // both
    Chain& issuedInTheNameOf(const std::string& commonName);
    Chain& signedBy(const std::string& keyName);
    Chain& selfSigned();
    Chain& criticalNames();
    Chain& editUnsigned(Edit edit);
    Chain& editPublicKey(Edit edit);
    Chain& edit(Edit edit);

    // What is shown besides or instead of every certificate up to the last below the root.
    Chain& withhold(const std::string& name);
    Chain& reversed();                  // all behind the leaf
    Chain& andShow(const Chain& other); // the other chain's certificates behind these
    Chain& andShowRoot();
    Chain& forced();

    Shown make() const;
    const Link& leaf() const { return links.front(); }

private:
    Chain& change(const std::function<void(Link&)>& how);

    std::vector<Link> links;
    std::string rootName = "root";
    std::vector<std::string> withheld;
    bool backwards = false;
    bool showsRoot = false;
    bool isForced = false;
    std::vector<Chain> others;
};

// One certificate, signed in the name of issuer and with the key of signer.
Der issue(const Link& link, const Link& issuer);

// The trust anchors, all in force at once.
const std::vector<Link>& roots();

inline const std::string serverAuthentication = "1.3.6.1.5.5.7.3.1";
inline const std::string clientAuthentication = "1.3.6.1.5.5.7.3.2";
inline const std::string codeSigning = "1.3.6.1.5.5.7.3.3";
inline const std::string anyUsage = "2.5.29.37.0";

} // namespace VexaSsl::test
