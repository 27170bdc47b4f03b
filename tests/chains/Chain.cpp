#include "chains/Chain.h"

#include <openssl/ec.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <utility>

namespace VexaSsl::test {
namespace {

EVP_PKEY* makeKey(KeyKind kind) {
    switch (kind) {
    case KeyKind::p256:
        return EVP_EC_gen("P-256");
    case KeyKind::p192:
        return EVP_EC_gen("P-192");
    case KeyKind::rsa512:
        return EVP_RSA_gen(512);
    case KeyKind::rsa1024:
        return EVP_RSA_gen(1024);
    case KeyKind::rsa2048:
        return EVP_RSA_gen(2048);
    case KeyKind::ed25519:
        return EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519");
    }
    return nullptr;
}

Der signatureAlgorithm(const EVP_PKEY* key, Digest digest) {
    const bool isRsa = EVP_PKEY_is_a(key, "RSA") == 1;
    if (!isRsa && EVP_PKEY_is_a(key, "EC") != 1) {
        return sequence({identifier("1.3.101.112")});
    }
    if (!isRsa) {
        return sequence(
            {identifier(digest == Digest::sha1 ? "1.2.840.10045.4.1" : "1.2.840.10045.4.3.2")});
    }
    const char* const number = digest == Digest::md5 ? "4" : digest == Digest::sha1 ? "5" : "11";
    return sequence({identifier("1.2.840.113549.1.1." + std::string(number)), tlv(0x05, "")});
}

const EVP_MD* digestFor(const EVP_PKEY* key, Digest digest) {
    if (EVP_PKEY_is_a(key, "ED25519") == 1) {
        return nullptr;
    }
    return digest == Digest::md5 ? EVP_md5() : digest == Digest::sha1 ? EVP_sha1() : EVP_sha256();
}

Der signatureOf(const Der& bytes, EVP_PKEY* key, Digest digest) {
    EVP_MD_CTX* run = EVP_MD_CTX_new();
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    std::size_t size = 0;
    Der signature;
    bool done = EVP_DigestSignInit(run, nullptr, digestFor(key, digest), nullptr, key) == 1 &&
                EVP_DigestSign(run, nullptr, &size, data, bytes.size()) == 1;
    signature.resize(size);
    done = done && EVP_DigestSign(run, reinterpret_cast<unsigned char*>(signature.data()), &size,
                                  data, bytes.size()) == 1;
    EVP_MD_CTX_free(run);
    if (!done) {
        throw std::runtime_error("can't sign");
    }
    signature.resize(size);
    return signature;
}

Der publicKeyOf(EVP_PKEY* key) {
    unsigned char* bytes = nullptr;
    const int size = i2d_PUBKEY(key, &bytes);
    const Der encoded(reinterpret_cast<char*>(bytes), static_cast<std::size_t>(size));
    OPENSSL_free(bytes);
    return encoded;
}

const std::string& keyNameOf(const Link& link) {
    return link.keyName.empty() ? link.name : link.keyName;
}

Der subjectOf(const Link& link) {
    return link.subject.value_or(distinguished({link.name}));
}

Der constraintsOf(const Link& link) {
    const Der flag = link.isAuthority ? tlv(0x01, "\xFF") : Der();
    return sequence({flag, link.pathLength ? integer(*link.pathLength) : Der()});
}

Der subtrees(unsigned char tag, const std::vector<Der>& names) {
    Der content;
    for (const Der& name : names) {
        content += sequence({name});
    }
    return names.empty() ? Der() : tlv(tag, content);
}

Der usagesOf(const Link& link) {
    std::vector<Der> identifiers;
    for (const std::string& usage : link.usages) {
        identifiers.push_back(identifier(usage));
    }
    return sequence(identifiers);
}

Der extensionsOf(const Link& link) {
    Der all;
    if (link.hasConstraints) {
        all += extension("2.5.29.19", true, constraintsOf(link));
    }
    if (link.keyUsage) {
        all += extension("2.5.29.15", true, bits(Der(1, static_cast<char>(*link.keyUsage))));
    }
    if (link.hasUsages) {
        all += extension("2.5.29.37", false, usagesOf(link));
    }
    if (!link.names.empty()) {
        all += extension("2.5.29.17", link.criticalNames, sequence(link.names));
    }
    if (!link.permitted.empty() || !link.excluded.empty()) {
        all += extension("2.5.29.30", true,
                         sequence({subtrees(0xA0, link.permitted), subtrees(0xA1, link.excluded)}));
    }
    for (const Der& further : link.extensions) {
        all += further;
    }
    return all.empty() ? Der() : tlv(0xA3, tlv(0x30, all));
}

Der edited(const Edit& edit, Der bytes) {
    return edit ? edit(std::move(bytes)) : bytes;
}

Der nextSerialNumber() {
    static long number = 1000;
    return integer(++number);
}

const Link& rootNamed(const std::string& name) {
    const auto found = std::find_if(roots().begin(), roots().end(),
                                    [&name](const Link& root) { return root.name == name; });
    if (found == roots().end()) {
        throw std::invalid_argument("no root " + name);
    }
    return *found;
}

} // namespace

EVP_PKEY* keyOf(const std::string& name, KeyKind kind) {
    static auto& keys = *new std::map<std::pair<std::string, KeyKind>, EVP_PKEY*>;
    EVP_PKEY*& key = keys[{name, kind}];
    if (!key) {
        key = makeKey(kind);
    }
    if (!key) {
        throw std::runtime_error("can't make a key");
    }
    return key;
}

Der issue(const Link& link, const Link& issuer) {
    EVP_PKEY* const signer =
        keyOf(link.signer.value_or(keyNameOf(issuer)), link.signer ? KeyKind::p256 : issuer.key);
    const Der algorithm = signatureAlgorithm(signer, link.digest);
    const Der version = link.version == 0 ? Der() : tlv(0xA0, integer(link.version));
    const Der publicKey = edited(link.editPublicKey, publicKeyOf(keyOf(keyNameOf(link), link.key)));
    const Der validity = link.validity.value_or(sequence({day(link.firstDay), day(link.lastDay)}));
    const Der serial = link.serial.value_or(nextSerialNumber());
    const Der toSign =
        edited(link.editUnsigned,
               sequence({version, serial, algorithm, link.issuerName.value_or(subjectOf(issuer)),
                         validity, subjectOf(link), publicKey, extensionsOf(link)}));
    return edited(link.edit,
                  sequence({toSign, algorithm, bits(signatureOf(toSign, signer, link.digest))}));
}

Chain::Chain() : Chain({dns("a.test")}) {}

Chain::Chain(const std::vector<Der>& names) {
    Link leaf{.name = "leaf", .keyName = {}};
    leaf.names = names;
    leaf.usages = {serverAuthentication, clientAuthentication};
    leaf.hasUsages = true;
    links.push_back(leaf);
}

Chain& Chain::issuer(const std::string& name) {
    Link authority{.name = name, .keyName = {}};
    authority.isAuthority = true;
    authority.hasConstraints = true;
    links.push_back(authority);
    return *this;
}

Chain& Chain::root(const std::string& name) {
    rootName = name;
    return *this;
}

Chain& Chain::change(const std::function<void(Link&)>& how) {
    how(links.back());
    return *this;
}

Chain& Chain::expired() {
    return change([](Link& link) { link.lastDay = -1; });
}
Chain& Chain::notYetValid() {
    return change([](Link& link) { link.firstDay = 2; });
}
Chain& Chain::named(const Der& subject) {
    return change([&](Link& link) { link.subject = subject; });
}
Chain& Chain::commonName(const std::string& bytes, unsigned char tag) {
    return named(distinguished({bytes}, tag));
}
Chain& Chain::usages(const std::vector<std::string>& identifiers) {
    return change([&](Link& link) {
        link.usages = identifiers;
        link.hasUsages = true;
    });
}
Chain& Chain::withoutUsages() {
    return change([](Link& link) { link.hasUsages = false; });
}
Chain& Chain::keyUsage(unsigned char firstBits) {
    return change([&](Link& link) { link.keyUsage = firstBits; });
}
Chain& Chain::authority(bool is) {
    return change([&](Link& link) {
        link.isAuthority = is;
        link.hasConstraints = true;
    });
}
Chain& Chain::withoutConstraints() {
    return change([](Link& link) { link.hasConstraints = false; });
}
Chain& Chain::pathLength(long most) {
    return change([&](Link& link) { link.pathLength = most; });
}
Chain& Chain::permitted(const std::vector<Der>& names) {
    return change([&](Link& link) { link.permitted = names; });
}
Chain& Chain::excluded(const std::vector<Der>& names) {
    return change([&](Link& link) { link.excluded = names; });
}
Chain& Chain::with(const Der& extension) {
    return change([&](Link& link) { link.extensions.push_back(extension); });
}
Chain& Chain::key(KeyKind kind) {
    return change([&](Link& link) { link.key = kind; });
}
Chain& Chain::keyNamed(const std::string& name) {
    return change([&](Link& link) { link.keyName = name; });
}
Chain& Chain::digest(Digest kind) {
    return change([&](Link& link) { link.digest = kind; });
}
Chain& Chain::version(long number) {
    return change([&](Link& link) { link.version = number; });
}
Chain& Chain::serial(const Der& number) {
    return change([&](Link& link) { link.serial = number; });
}
Chain& Chain::validity(const Der& times) {
    return change([&](Link& link) { link.validity = times; });
}
Chain& Chain::issuerNamed(const std::string& commonName) {
    return change([&](Link& link) { link.issuerName = distinguished({commonName}); });
}
Chain& Chain::signedBy(const std::string& keyName) {
    return change([&](Link& link) { link.signer = keyName; });
}
Chain& Chain::selfSigned() {
    return change([](Link& link) {
        link.issuerName = subjectOf(link);
        link.signer = keyNameOf(link);
    });
}
Chain& Chain::criticalNames() {
    return change([](Link& link) { link.criticalNames = true; });
}
Chain& Chain::editUnsigned(Edit edit) {
    return change([&](Link& link) { link.editUnsigned = std::move(edit); });
}
Chain& Chain::editPublicKey(Edit edit) {
    return change([&](Link& link) { link.editPublicKey = std::move(edit); });
}
Chain& Chain::edit(Edit edit) {
    return change([&](Link& link) { link.edit = std::move(edit); });
}

Chain& Chain::omit(const std::string& name) {
    omitted.push_back(name);
    return *this;
}
Chain& Chain::reversed() {
    backwards = true;
    return *this;
}
Chain& Chain::andPresent(const Chain& other) {
    others.push_back(other);
    return *this;
}
Chain& Chain::andPresentRoot() {
    presentsRoot = true;
    return *this;
}

Chain& Chain::forced() {
    isForced = true;
    return *this;
}

PresentedChain Chain::make() const {
    const Link& root = rootNamed(rootName);
    PresentedChain presented;
    presented.isForced = isForced;
    presented.key = keyOf(keyNameOf(links.front()), links.front().key);
    for (std::size_t i = 0; i < links.size(); ++i) {
        const bool isWithheld =
            std::find(omitted.begin(), omitted.end(), links[i].name) != omitted.end();
        if (!isWithheld) {
            presented.certificates.push_back(
                issue(links[i], i + 1 < links.size() ? links[i + 1] : root));
        }
    }
    if (presentsRoot) {
        presented.certificates.push_back(issue(root, root));
    }
    for (const Chain& other : others) {
        for (const Der& certificate : other.make().certificates) {
            presented.certificates.push_back(certificate);
        }
    }
    if (backwards) {
        std::reverse(presented.certificates.begin() + 1, presented.certificates.end());
    }
    return presented;
}

// Some roots have faults that a verification must report.
const std::vector<Link>& roots() {
    static const std::vector<Link> all = [] {
        std::vector<Link> made;
        const auto add = [&made](const std::string& name) -> Link& {
            Link root{.name = name, .keyName = {}};
            root.isAuthority = true;
            root.hasConstraints = true;
            return made.emplace_back(root);
        };
        add("root");
        add("root of none").pathLength = 0;
        add("root of the inside").permitted = {dns("inside.test")};
        add("root without the outside").excluded = {dns("outside.test")};
        add("old root").lastDay = -1;
        add("root of clients").usages = {clientAuthentication};
        made.back().hasUsages = true;
        add("root by key usage").keyUsage = 0x80; // signs, but no certificates
        add("weak root").key = KeyKind::rsa1024;
        add("rsa root").key = KeyKind::rsa2048;
        add("first version").hasConstraints = false;
        made.back().version = 0;
        add("no authority").isAuthority = false;
        return made;
    }();
    return all;
}

} // namespace VexaSsl::test
