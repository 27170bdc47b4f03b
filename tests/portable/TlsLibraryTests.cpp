// The OpenSSL library context of clients: what it offers, and when the host's own counts instead.
#include "CertificateFolder.h"
#include "certificates/OpenSslOwners.h"
#include "contract/security/Side.h"
#include "security/TlsLibrary.h"

#include <gtest/gtest.h>

#include <openssl/dsa.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <memory>
#include <string>

namespace VexaSsl::test {
namespace {

using namespace portable;

using KeyContext = std::unique_ptr<EVP_PKEY_CTX, Release<EVP_PKEY_CTX_free>>;
using DigestPointer = std::unique_ptr<EVP_MD, Release<EVP_MD_free>>;
using CipherPointer = std::unique_ptr<EVP_CIPHER, Release<EVP_CIPHER_free>>;

KeyPointer makeDsaKey() {
    const KeyContext forParameters(EVP_PKEY_CTX_new_from_name(nullptr, "DSA", nullptr));
    EVP_PKEY* made = nullptr;
    EVP_PKEY_paramgen_init(forParameters.get());
    EVP_PKEY_CTX_set_dsa_paramgen_bits(forParameters.get(), 1024);
    EVP_PKEY_paramgen(forParameters.get(), &made);
    const KeyPointer parameters(made);
    const KeyContext forKey(EVP_PKEY_CTX_new_from_pkey(nullptr, parameters.get(), nullptr));
    EVP_PKEY* key = nullptr;
    EVP_PKEY_keygen_init(forKey.get());
    EVP_PKEY_keygen(forKey.get(), &key);
    return KeyPointer(key);
}

// A key by its kind: a curve's name, or what EVP_PKEY_Q_keygen takes.
KeyPointer makeKey(const std::string& kind) {
    constexpr std::size_t enoughBits = 2048;
    if (kind == "RSA") {
        return KeyPointer(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", enoughBits));
    }
    if (kind == "DSA") {
        return makeDsaKey();
    }
    if (kind == "RSA-PSS") {
        const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA-PSS", nullptr));
        EVP_PKEY* key = nullptr;
        EVP_PKEY_keygen_init(context.get());
        EVP_PKEY_keygen(context.get(), &key);
        return KeyPointer(key);
    }
    if (kind.starts_with("ED")) {
        return KeyPointer(EVP_PKEY_Q_keygen(nullptr, nullptr, kind.c_str()));
    }
    return KeyPointer(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", kind.c_str()));
}

// Signed with its own key. digest is null where the key's algorithm has its own.
std::string encodedCertificate(EVP_PKEY* key, const EVP_MD* digest) {
    const X509Pointer certificate(X509_new());
    X509_set_pubkey(certificate.get(), key);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 60);
    if (X509_sign(certificate.get(), key, digest) == 0) {
        return {};
    }
    unsigned char* bytes = nullptr;
    const int size = i2d_X509(certificate.get(), &bytes);
    const BytesPointer owner(bytes);
    return {reinterpret_cast<char*>(bytes), static_cast<std::size_t>(size)};
}

// As the handshake decodes the server's.
X509Pointer decodeInLibrary(const std::string& encoded) {
    X509* certificate = X509_new_ex(libraryForClients(), nullptr);
    const auto* at = reinterpret_cast<const unsigned char*>(encoded.data());
    return X509Pointer(d2i_X509(&certificate, &at, static_cast<long>(encoded.size())));
}

class KeysOfCertificates : public ::testing::TestWithParam<const char*> {};

TEST_P(KeysOfCertificates, areDecodedAndVerify) {
    ASSERT_NE(libraryForClients(), nullptr);
    const std::string kind = GetParam();
    const KeyPointer key = makeKey(kind);
    const X509Pointer certificate = decodeInLibrary(
        encodedCertificate(key.get(), kind.starts_with("ED") ? nullptr : EVP_sha256()));
    ASSERT_NE(certificate, nullptr);
    EVP_PKEY* const decoded = X509_get0_pubkey(certificate.get());
    ASSERT_NE(decoded, nullptr);
    EXPECT_EQ(EVP_PKEY_eq(decoded, key.get()), 1);
    EXPECT_EQ(X509_verify(certificate.get(), decoded), 1);
    EXPECT_EQ(X509_verify(certificate.get(), key.get()), 1) << "as with an anchor's key";
}

INSTANTIATE_TEST_SUITE_P(TlsLibrary, KeysOfCertificates,
                         ::testing::Values("RSA", "RSA-PSS", "DSA", "P-256", "P-384", "P-521",
                                           "brainpoolP256r1", "ED25519", "ED448"));

class DigestsOfCertificates : public ::testing::TestWithParam<const char*> {};

TEST_P(DigestsOfCertificates, verify) {
    ASSERT_NE(libraryForClients(), nullptr);
    const KeyPointer key = makeKey("RSA");
    const DigestPointer digest(EVP_MD_fetch(nullptr, GetParam(), nullptr));
    const X509Pointer certificate = decodeInLibrary(encodedCertificate(key.get(), digest.get()));
    ASSERT_NE(certificate, nullptr);
    EXPECT_EQ(X509_verify(certificate.get(), X509_get0_pubkey(certificate.get())), 1);
}

INSTANTIATE_TEST_SUITE_P(TlsLibrary, DigestsOfCertificates,
                         ::testing::Values("MD5", "SHA1", "RIPEMD-160", "SHA2-224", "SHA2-256",
                                           "SHA2-384", "SHA2-512", "SHA3-224", "SHA3-256",
                                           "SHA3-384", "SHA3-512"));

TEST(TlsLibrary, offersNothingThatTheSuitesDoNotUse) {
    const ErrorQueueGuard errors;
    const CipherPointer blocks(EVP_CIPHER_fetch(libraryForClients(), "AES-128-CBC", nullptr));
    EXPECT_EQ(blocks, nullptr);
}

TEST(TlsLibrary, isTheSameOneEachTime) {
    EXPECT_EQ(libraryForClients(), libraryForClients());
}

// Makes the default provider the usual one first, which it isn't any more when another one is
// loaded before anything was asked of it.
TEST(TlsLibrary, leavesTheFieldToAProviderOfTheHostAsLongAsItIsThere) {
    OSSL_LIB_CTX* const before = libraryForClients();
    ASSERT_NE(before, nullptr);
    OSSL_PROVIDER* const own = OSSL_PROVIDER_load(nullptr, "null");
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(libraryForClients(), nullptr);
    OSSL_PROVIDER_unload(own);
    EXPECT_EQ(libraryForClients(), before);
}

TEST(TlsLibrary, clientsShakeHandsWithAndWithoutIt) {
    const FolderInForce folder;
    ASSERT_NE(libraryForClients(), nullptr);
    Side client = Side::client();
    Side server = Side::server();
    shakeHands(client, server);
    EXPECT_TRUE(client.established());
    OSSL_PROVIDER* const own = OSSL_PROVIDER_load(nullptr, "null");
    ASSERT_NE(own, nullptr);
    Side otherClient = Side::client();
    Side otherServer = Side::server();
    shakeHands(otherClient, otherServer);
    EXPECT_TRUE(otherClient.established());
    OSSL_PROVIDER_unload(own);
}

TEST(TlsLibrary, leavesTheFieldToTheRequestForApprovedAlgorithms) {
    ASSERT_NE(libraryForClients(), nullptr);
    ASSERT_EQ(EVP_default_properties_enable_fips(nullptr, 1), 1);
    EXPECT_EQ(libraryForClients(), nullptr);
    ASSERT_EQ(EVP_default_properties_enable_fips(nullptr, 0), 1);
    EXPECT_NE(libraryForClients(), nullptr);
}

} // namespace
} // namespace VexaSsl::test
