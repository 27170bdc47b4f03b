#include "contract/support/ThrowawayPki.h"

#include "CertificateFiles.h"

#include <openssl/pem.h>
#include <openssl/rand.h>

#include <stdexcept>

namespace VexaSsl::test {
namespace {

using openssl::BioPointer;
using openssl::KeyPointer;
using openssl::X509Pointer;

void require(bool done) {
    if (!done) {
        throw std::runtime_error("OpenSSL cannot make the certificate");
    }
}

void setSubject(X509* certificate, const Recipe& recipe) {
    X509_NAME* name = X509_get_subject_name(certificate);
    for (const auto& [attribute, value] : recipe.subject) {
        require(X509_NAME_add_entry_by_txt(name, attribute.c_str(), MBSTRING_UTF8,
                                           reinterpret_cast<const unsigned char*>(value.data()),
                                           static_cast<int>(value.size()), -1, 0) == 1);
    }
}

void addExtension(X509* certificate, X509* issuer, int kind, const std::string& value) {
    if (value.empty()) {
        return;
    }
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
    require(extension);
    X509_add_ext(certificate, extension, -1);
    X509_EXTENSION_free(extension);
}

void addName(GENERAL_NAMES* names, int type, const std::string& bytes) {
    GENERAL_NAME* name = GENERAL_NAME_new();
    ASN1_IA5STRING* text = ASN1_IA5STRING_new();
    ASN1_STRING_set(text, bytes.data(), static_cast<int>(bytes.size()));
    GENERAL_NAME_set0_value(name, type, text);
    sk_GENERAL_NAME_push(names, name);
}

void addNames(X509* certificate, const Recipe& recipe) {
    if (recipe.dnsNames.empty() && recipe.emailNames.empty()) {
        return;
    }
    GENERAL_NAMES* names = GENERAL_NAMES_new();
    for (const std::string& dnsName : recipe.dnsNames) {
        addName(names, GEN_DNS, dnsName);
    }
    for (const std::string& emailName : recipe.emailNames) {
        addName(names, GEN_EMAIL, emailName);
    }
    require(X509_add1_ext_i2d(certificate, NID_subject_alt_name, names, 0, X509V3_ADD_APPEND) == 1);
    GENERAL_NAMES_free(names);
}

void addUnknownExtension(X509* certificate, const std::string& identifier) {
    if (identifier.empty()) {
        return;
    }
    ASN1_OBJECT* object = OBJ_txt2obj(identifier.c_str(), 1);
    ASN1_OCTET_STRING* value = ASN1_OCTET_STRING_new();
    ASN1_OCTET_STRING_set(value, reinterpret_cast<const unsigned char*>("\x05"), 2);
    X509_EXTENSION* extension = X509_EXTENSION_create_by_OBJ(nullptr, object, 1, value);
    X509_add_ext(certificate, extension, -1);
    X509_EXTENSION_free(extension);
    ASN1_OCTET_STRING_free(value);
    ASN1_OBJECT_free(object);
}

void setSerialNumber(X509* certificate) {
    unsigned char bytes[8];
    require(RAND_bytes(bytes, sizeof bytes) == 1);
    bytes[0] &= 0x7F;
    BIGNUM* number = BN_bin2bn(bytes, sizeof bytes, nullptr);
    BN_to_ASN1_INTEGER(number, X509_get_serialNumber(certificate));
    BN_free(number);
}

void setTimes(X509* certificate, const Recipe& recipe) {
    X509_time_adj_ex(X509_getm_notBefore(certificate), recipe.firstDay, 0, nullptr);
    X509_time_adj_ex(X509_getm_notAfter(certificate), recipe.lastDay, 0, nullptr);
}

template <class Write>
std::string written(Write write) {
    const BioPointer bio(BIO_new(BIO_s_mem()));
    require(write(bio.get()) == 1);
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &bytes);
    return {bytes, static_cast<std::size_t>(size)};
}

} // namespace

Issued issue(const Recipe& recipe, const Issued* issuer) {
    Issued issued{X509Pointer(X509_new()),
                  KeyPointer(recipe.rsaBits ? EVP_RSA_gen(recipe.rsaBits) : EVP_EC_gen("P-256"))};
    X509* certificate = issued.certificate.get();
    require(certificate && issued.key);
    X509_set_version(certificate, X509_VERSION_3);
    setSerialNumber(certificate);
    setTimes(certificate, recipe);
    setSubject(certificate, recipe);
    X509_set_pubkey(certificate, issued.key.get());
    X509* signer = issuer ? issuer->certificate.get() : certificate;
    X509_set_issuer_name(certificate, X509_get_subject_name(signer));
    addExtension(certificate, signer, NID_subject_key_identifier, "hash");
    addExtension(certificate, signer, NID_authority_key_identifier, issuer ? "keyid" : "");
    addExtension(certificate, signer, NID_basic_constraints, recipe.basicConstraints);
    addExtension(certificate, signer, NID_ext_key_usage, recipe.usages);
    if (!recipe.permittedDnsName.empty()) {
        addExtension(certificate, signer, NID_name_constraints,
                     "critical,permitted;DNS:" + recipe.permittedDnsName);
    }
    addNames(certificate, recipe);
    addUnknownExtension(certificate, recipe.criticalExtension);
    require(X509_sign(certificate, (issuer ? *issuer : issued).key.get(), EVP_sha256()) > 0);
    return issued;
}

Issued withBrokenSignature(const Issued& issued) {
    std::string bytes = der(issued);
    bytes.back() = static_cast<char>(bytes.back() ^ 1);
    const auto* at = reinterpret_cast<const unsigned char*>(bytes.data());
    EVP_PKEY_up_ref(issued.key.get());
    return {X509Pointer(d2i_X509(nullptr, &at, static_cast<long>(bytes.size()))),
            KeyPointer(issued.key.get())};
}

std::string pem(const X509* certificate) {
    return written([certificate](BIO* bio) { return PEM_write_bio_X509(bio, certificate); });
}

std::string pem(const Issued& issued) {
    return pem(issued.certificate.get());
}

std::string keyPem(const Issued& issued) {
    return written([&issued](BIO* bio) {
        return PEM_write_bio_PrivateKey(bio, issued.key.get(), nullptr, nullptr, 0, nullptr,
                                        nullptr);
    });
}

std::string encryptedKeyPem(const Issued& issued, const std::string& passPhrase) {
    return written([&](BIO* bio) {
        return PEM_write_bio_PrivateKey(bio, issued.key.get(), EVP_aes_256_cbc(),
                                        reinterpret_cast<const unsigned char*>(passPhrase.data()),
                                        static_cast<int>(passPhrase.size()), nullptr, nullptr);
    });
}

std::string der(const Issued& issued) {
    return written([&issued](BIO* bio) { return i2d_X509_bio(bio, issued.certificate.get()); });
}

std::string pkcs12(const Issued& issued, const std::vector<const Issued*>& helpers,
                   const std::string& password) {
    const openssl::BorrowingStack others(sk_X509_new_null());
    for (const Issued* helper : helpers) {
        sk_X509_push(others.get(), helper->certificate.get());
    }
    constexpr int usual = 0;
    constexpr int fewIterations = 1000;
    const openssl::Pkcs12Pointer file(PKCS12_create(password.c_str(), "a name", issued.key.get(),
                                                    issued.certificate.get(), others.get(), usual,
                                                    usual, fewIterations, fewIterations, usual));
    require(file != nullptr);
    return written([&file](BIO* bio) { return i2d_PKCS12_bio(bio, file.get()); });
}

} // namespace VexaSsl::test
