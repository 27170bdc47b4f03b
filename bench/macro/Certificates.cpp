#include "Certificates.h"

#include <chrono>
#include <fstream>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>
#include <stdexcept>
#include <thread>

namespace VexaSsl::bench {

namespace {

namespace fs = std::filesystem;

struct FreeIt {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(BIO* bio) const { BIO_free(bio); }
};
using Key = std::unique_ptr<EVP_PKEY, FreeIt>;
using Certificate = std::unique_ptr<X509, FreeIt>;

constexpr unsigned bundleSize = 140;
constexpr long validFor = 3600L * 24 * 365;

template <typename Pointer>
Pointer* orThrow(Pointer* pointer) {
    return pointer != nullptr ? pointer : throw std::runtime_error("cannot create a certificate");
}

Key makeKey(KeyKind kind) {
    return Key(orThrow(kind == KeyKind::rsa2048 ? EVP_RSA_gen(2048) : EVP_EC_gen("P-256")));
}

void addExtension(X509* certificate, X509* issuer, int kind, const char* value) {
    X509V3_CTX context{};
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* const made = orThrow(X509V3_EXT_conf_nid(nullptr, &context, kind, value));
    X509_add_ext(certificate, made, -1);
    X509_EXTENSION_free(made);
}

// Returns a certificate without extensions and signature.
Certificate unsignedCertificate(const std::string& name, EVP_PKEY* key) {
    static long serial = 1;
    Certificate made(orThrow(X509_new()));
    X509_set_version(made.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(made.get()), serial++);
    X509_gmtime_adj(X509_getm_notBefore(made.get()), -validFor);
    X509_gmtime_adj(X509_getm_notAfter(made.get()), validFor);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(made.get()), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    X509_set_pubkey(made.get(), key);
    return made;
}

void sign(X509* certificate, X509* issuer, EVP_PKEY* issuerKey) {
    X509_set_issuer_name(certificate, X509_get_subject_name(issuer));
    addExtension(certificate, issuer, NID_subject_key_identifier, "hash");
    if (X509_sign(certificate, issuerKey, EVP_sha256()) == 0) {
        throw std::runtime_error("cannot sign a certificate");
    }
}

Certificate makeAuthority(const std::string& name, EVP_PKEY* key) {
    Certificate made = unsignedCertificate(name, key);
    addExtension(made.get(), made.get(), NID_basic_constraints, "critical,CA:true");
    addExtension(made.get(), made.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
    sign(made.get(), made.get(), key);
    return made;
}

Certificate makeServer(const std::string& name, EVP_PKEY* key, X509* issuer, EVP_PKEY* issuerKey) {
    Certificate made = unsignedCertificate(name, key);
    addExtension(made.get(), issuer, NID_basic_constraints, "critical,CA:false");
    addExtension(made.get(), issuer, NID_key_usage, "critical,digitalSignature");
    addExtension(made.get(), issuer, NID_ext_key_usage, "serverAuth");
    addExtension(made.get(), issuer, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1");
    sign(made.get(), issuer, issuerKey);
    return made;
}

template <typename Write>
void append(const fs::path& file, Write write) {
    const std::unique_ptr<BIO, FreeIt> bio(orThrow(BIO_new_file(file.c_str(), "a")));
    if (write(bio.get()) != 1) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

void appendCertificate(const fs::path& file, X509* certificate) {
    append(file, [&](BIO* bio) { return PEM_write_bio_X509(bio, certificate); });
}

void appendKey(const fs::path& file, EVP_PKEY* key) {
    append(file, [&](BIO* bio) {
        return PEM_write_bio_PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr);
    });
}

std::string nameOf(KeyKind kind) {
    return kind == KeyKind::rsa2048 ? "rsa-2048.benchmark" : "p-256.benchmark";
}

fs::path trustFolder(const fs::path& folder, bool bundle) {
    return folder / "trust" / (bundle ? "bundle" : "one");
}

void writeServer(const fs::path& folder, KeyKind kind, X509* authority, EVP_PKEY* authorityKey) {
    const Key key = makeKey(kind);
    const Certificate server = makeServer(nameOf(kind), key.get(), authority, authorityKey);
    const Terms terms = termsOf(folder, kind, false);
    appendCertificate(terms.certificate, server.get());
    appendKey(terms.key, key.get());
    for (const bool bundle : {false, true}) {
        const fs::path entry = trustFolder(folder, bundle) / "my" / (nameOf(kind) + ".pem");
        appendCertificate(entry, server.get());
        appendKey(entry, key.get());
    }
}

} // namespace

void makeCertificates(const fs::path& folder) {
    for (const bool bundle : {false, true}) {
        fs::create_directories(trustFolder(folder, bundle) / "my");
        fs::create_directories(trustFolder(folder, bundle) / "root");
    }
    const Key key = makeKey(KeyKind::rsa2048);
    const Certificate authority = makeAuthority("Benchmark Authority", key.get());
    appendCertificate(termsOf(folder, KeyKind::p256, false).trust, authority.get());
    const fs::path bundle = termsOf(folder, KeyKind::p256, true).trust;
    for (unsigned i = 1; i < bundleSize; ++i) {
        const std::string name = "Benchmark Stranger " + std::to_string(i);
        appendCertificate(bundle, makeAuthority(name, key.get()).get());
    }
    appendCertificate(bundle, authority.get());
    writeServer(folder, KeyKind::rsa2048, authority.get(), key.get());
    writeServer(folder, KeyKind::p256, authority.get(), key.get());
}

Terms termsOf(const fs::path& folder, KeyKind kind, bool bundle) {
    Terms terms;
    terms.subject = nameOf(kind);
    terms.certificate = folder / (nameOf(kind) + ".certificate.pem");
    terms.key = folder / (nameOf(kind) + ".key.pem");
    terms.folder = trustFolder(folder, bundle);
    terms.trust = terms.folder / "root" / "anchors.pem";
    return terms;
}

void waitForStableFileTimes() {
    std::this_thread::sleep_for(std::chrono::milliseconds(2100));
}

void makePersonalStore(const fs::path& folder, int count) {
    fs::create_directories(folder / "my");
    fs::create_directories(folder / "root");
    const Key key = makeKey(KeyKind::p256);
    const Certificate authority = makeAuthority("Benchmark Authority", key.get());
    appendCertificate(folder / "root" / "authority.pem", authority.get());
    for (int i = 1; i <= count; ++i) {
        const std::string name = "number " + std::to_string(i);
        const fs::path entry = folder / "my" / (std::to_string(i) + ".pem");
        appendCertificate(entry, makeServer(name, key.get(), authority.get(), key.get()).get());
        appendKey(entry, key.get());
    }
}

} // namespace VexaSsl::bench
