#include "secrets/SecretFolder.h"

#include "integration/support/Pki.h"
#include "integration/support/Settings.h"

#include <openssl/core_names.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace VexaSsl::test {
namespace {

namespace fs = std::filesystem;

struct FreeOpenSsl {
    void operator()(BIO* bio) const { BIO_free(bio); }
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(PKCS12* file) const { PKCS12_free(file); }
    void operator()(BIGNUM* number) const { BN_clear_free(number); }
};
template <typename T>
using Held = std::unique_ptr<T, FreeOpenSsl>;

Held<EVP_PKEY> keyIn(const fs::path& file) {
    const Held<BIO> bio(BIO_new_file(file.c_str(), "r"));
    return Held<EVP_PKEY>(PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr));
}

std::string textOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string numberOf(EVP_PKEY* key, const char* parameter) {
    BIGNUM* number = nullptr;
    if (EVP_PKEY_get_bn_param(key, parameter, &number) != 1) {
        return {};
    }
    const Held<BIGNUM> owner(number);
    std::string bytes(static_cast<std::size_t>(BN_num_bytes(number)), '\0');
    BN_bn2bin(number, reinterpret_cast<unsigned char*>(bytes.data()));
    return bytes;
}

} // namespace

SecretFolder::SecretFolder() : folder(temporaryFolder() / "secret") {
    fs::create_directories(folder / "my");
    fs::copy(pki::folder() / "root", folder / "root", fs::copy_options::recursive);
    copy("server-ecdsa", "chain", "good.pem");
    copy("server-ecdsa", "key", "good.key");
    addKey("the key of a server", "server-ecdsa");
    box("server-rsa", "boxed", markedText(1, 40), markedText(1, 40));
    box("no-usage", "wrong", markedText(2, 40), markedText(3, 40));
    copy("client", "chain", "client.pem");
    copy("client", "key", "client.key");
    addKey("the key of a client", "client");

    copy("with-intermediate", "chain", "closed.pem");
    addKey("the key under a pass phrase", "with-intermediate");
    const std::string phrase = markedText(4, 40);
    secrets.add("a pass phrase", phrase);
    const Held<EVP_PKEY> key = keyIn(pki::file("with-intermediate", "key"));
    const Held<BIO> bio(BIO_new_file((folder / "my/closed.key").c_str(), "w"));
    PEM_write_bio_PKCS8PrivateKey(bio.get(), key.get(), EVP_aes_256_cbc(), phrase.data(),
                                  static_cast<int>(phrase.size()), nullptr, nullptr);

    const std::string whole = textOf(pki::file("two-names", "key"));
    std::ofstream(folder / "my/spoiled.pem")
        << textOf(pki::file("two-names", "cert")) << whole.substr(0, whole.size() / 2) << "\n";
    addKey("a key cut short", "two-names");
    pki::use(folder);
}

SecretFolder::~SecretFolder() {
    pki::use(pki::folder());
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}

void SecretFolder::addKey(const std::string& name, const std::string& file) {
    const Held<EVP_PKEY> key = keyIn(pki::file(file, "key"));
    if (!key) {
        throw std::runtime_error("no key of " + file);
    }
    for (const char* parameter : {OSSL_PKEY_PARAM_PRIV_KEY, OSSL_PKEY_PARAM_RSA_D,
                                  OSSL_PKEY_PARAM_RSA_FACTOR1, OSSL_PKEY_PARAM_RSA_FACTOR2}) {
        const std::string bytes = numberOf(key.get(), parameter);
        if (!bytes.empty()) {
            secrets.add(name, bytes);
        }
    }
}

void SecretFolder::copy(const std::string& from, const std::string& kind, const std::string& to) {
    fs::copy_file(pki::file(from, kind), folder / "my" / to);
}

// password opens the file; said is the content of its password file.
void SecretFolder::box(const std::string& from, const std::string& to, const std::string& password,
                       const std::string& said) {
    const Held<EVP_PKEY> key = keyIn(pki::file(from, "key"));
    const Held<BIO> bio(BIO_new_file(pki::file(from, "cert").c_str(), "r"));
    const Held<X509> certificate(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
    const Held<PKCS12> file(PKCS12_create(password.c_str(), "a name", key.get(), certificate.get(),
                                          nullptr, 0, 0, 1000, 1000, 0));
    const Held<BIO> out(BIO_new_file((folder / "my" / (to + ".p12")).c_str(), "wb"));
    if (!file || i2d_PKCS12_bio(out.get(), file.get()) != 1) {
        throw std::runtime_error("can't write PKCS#12");
    }
    std::ofstream(folder / "my" / (to + ".p12.password")) << said << "\n";
    addKey("the key in " + to + ".p12", from);
    secrets.add("the password of " + to + ".p12", password);
    if (said != password) {
        secrets.add("the wrong password of " + to + ".p12", said);
    }
}

CapturedOutput::CapturedOutput()
    : file(temporaryFolder() / "captured"), formerOutput(dup(1)), formerErrors(dup(2)) {
    std::cout.flush();
    std::fflush(nullptr);
    const int fresh = open(file.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    dup2(fresh, 1);
    dup2(fresh, 2);
    close(fresh);
}

CapturedOutput::~CapturedOutput() {
    stop();
}

std::string CapturedOutput::stop() {
    if (formerOutput < 0) {
        return {};
    }
    std::cout.flush();
    std::wcout.flush();
    std::wcerr.flush();
    std::fflush(nullptr);
    dup2(formerOutput, 1);
    dup2(formerErrors, 2);
    close(formerOutput);
    close(formerErrors);
    formerOutput = -1;
    return textOf(file);
}

} // namespace VexaSsl::test
