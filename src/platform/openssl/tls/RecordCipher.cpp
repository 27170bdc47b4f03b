#include "platform/openssl/tls/RecordCipher.h"

#include "platform/openssl/stores/OpenSslFailure.h"
#include "platform/openssl/tls/BigEndian.h"

#include <openssl/core_names.h>
#include <openssl/kdf.h>
#include <openssl/params.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <span>

namespace VexaSsl::openssl {
namespace {

constexpr AeadSuite aes128Gcm{"AES-128-GCM", 16, 4, 8};
constexpr AeadSuite aes256Gcm{"AES-256-GCM", 32, 4, 8};
constexpr AeadSuite chacha20Poly1305{"ChaCha20-Poly1305", 32, 12, 0};

constexpr unsigned char tls12Version[] = {3, 3};

using KdfContextPointer = std::unique_ptr<EVP_KDF_CTX, Release<EVP_KDF_CTX_free>>;

using KeyBlock = SecretArray<2 * (aeadKeyLimit + aeadNonceSize)>;

// Fetching an algorithm takes longer than a record, so it is done once; after a failure it is done
// again. Never freed: OpenSSL cleans up at exit before static objects are destroyed.
EVP_CIPHER* fetchCipher(const char* name) {
    return requireResult("EVP_CIPHER_fetch", EVP_CIPHER_fetch(nullptr, name, nullptr));
}

const EVP_CIPHER* cipherOf(const AeadSuite& suite) {
    if (&suite == &aes128Gcm) {
        static EVP_CIPHER* const cipher = fetchCipher(aes128Gcm.cipherName);
        return cipher;
    }
    if (&suite == &aes256Gcm) {
        static EVP_CIPHER* const cipher = fetchCipher(aes256Gcm.cipherName);
        return cipher;
    }
    static EVP_CIPHER* const cipher = fetchCipher(chacha20Poly1305.cipherName);
    return cipher;
}

EVP_KDF* tlsPrf() {
    static EVP_KDF* const prf =
        requireResult("EVP_KDF_fetch", EVP_KDF_fetch(nullptr, "TLS1-PRF", nullptr));
    return prf;
}

// The seed of the key expansion: the label, the server's random and the client's.
constexpr char label[] = "key expansion";
constexpr std::size_t labelSize = sizeof label - 1;
using Seed = std::array<unsigned char, labelSize + 2 * std::size_t{SSL3_RANDOM_SIZE}>;

Seed seedOf(const HandshakeSecrets& secrets) noexcept {
    Seed seed;
    unsigned char* next = std::copy_n(label, labelSize, seed.data());
    next = std::copy(secrets.serverRandom.begin(), secrets.serverRandom.end(), next);
    std::copy(secrets.clientRandom.begin(), secrets.clientRandom.end(), next);
    return seed;
}

void fillKeyBlock(HandshakeSecrets& secrets, std::span<unsigned char> block) {
    Seed seed = seedOf(secrets);
    OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, const_cast<char*>(secrets.digest),
                                         0),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SECRET, secrets.master.data(),
                                          secrets.masterSize),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SEED, seed.data(), seed.size()),
        OSSL_PARAM_construct_end()};
    const auto kdf = requireResult("EVP_KDF_CTX_new", KdfContextPointer(EVP_KDF_CTX_new(tlsPrf())));
    requireSuccess("EVP_KDF_derive",
                   EVP_KDF_derive(kdf.get(), block.data(), block.size(), parameters) == 1);
}

} // namespace

const AeadSuite* aeadSuiteOf(const SSL_CIPHER* suite) noexcept {
    switch (SSL_CIPHER_get_cipher_nid(suite)) {
    case NID_aes_128_gcm:
        return &aes128Gcm;
    case NID_aes_256_gcm:
        return &aes256Gcm;
    case NID_chacha20_poly1305:
        return &chacha20Poly1305;
    default:
        return nullptr;
    }
}

void readSecrets(const SSL* ssl, HandshakeSecrets& secrets) noexcept {
    secrets.masterSize = SSL_SESSION_get_master_key(SSL_get_session(ssl), secrets.master.data(),
                                                    secrets.master.size());
    SSL_get_client_random(ssl, secrets.clientRandom.data(), secrets.clientRandom.size());
    SSL_get_server_random(ssl, secrets.serverRandom.data(), secrets.serverRandom.size());
    secrets.digest = EVP_MD_get0_name(SSL_CIPHER_get_handshake_digest(SSL_get_current_cipher(ssl)));
}

TrafficKeys deriveTrafficKeys(HandshakeSecrets& secrets, const AeadSuite& suite) {
    KeyBlock block;
    const std::size_t used = 2 * (suite.keySize + suite.fixedNonceSize);
    fillKeyBlock(secrets, std::span(block).first(used));
    TrafficKeys keys;
    const unsigned char* next = block.data();
    for (DirectionKeys* direction : {&keys.client, &keys.server}) {
        std::copy_n(next, suite.keySize, direction->key.data());
        next += suite.keySize;
    }
    for (DirectionKeys* direction : {&keys.client, &keys.server}) {
        std::copy_n(next, suite.fixedNonceSize, direction->fixedNonce.data());
        next += suite.fixedNonceSize;
    }
    return keys;
}

RecordCipher::RecordCipher(Use use, const AeadSuite& suite, const DirectionKeys& keys,
                           std::uint64_t sequence)
    : context(orOutOfMemory(CipherContextPointer(EVP_CIPHER_CTX_new()))), suite(suite),
      secrets(keys), sequence(sequence) {
    requireSuccess("EVP_CipherInit_ex",
                   EVP_CipherInit_ex(context.get(), cipherOf(suite), nullptr, keys.key.data(),
                                     nullptr, static_cast<int>(use)) == 1);
    OPENSSL_cleanse(secrets.key.data(), secrets.key.size());
}

bool RecordCipher::isExhausted() const noexcept {
    return sequence == std::numeric_limits<std::uint64_t>::max();
}

RecordCipher::Nonce RecordCipher::nonceWith(std::uint64_t explicitNonce) const noexcept {
    Nonce nonce = secrets.fixedNonce;
    if (suite.explicitNonceSize > 0) {
        writeBigEndian(std::span(nonce).last(suite.explicitNonceSize), explicitNonce);
        return nonce;
    }
    Nonce nonceOfSequence{};
    writeBigEndian(nonceOfSequence, sequence);
    for (std::size_t i = 0; i < nonce.size(); ++i) {
        nonce[i] ^= nonceOfSequence[i];
    }
    return nonce;
}

bool RecordCipher::begin(const Nonce& nonce, unsigned char type,
                         std::size_t plaintextSize) noexcept {
    std::array<unsigned char, 13> additional;
    const std::span fields(additional);
    writeBigEndian(fields.first(8), sequence);
    additional[8] = type;
    std::copy(std::begin(tls12Version), std::end(tls12Version), &additional[9]);
    writeBigEndian(fields.last(2), plaintextSize);
    int count = 0;
    return EVP_CipherInit_ex(context.get(), nullptr, nullptr, nullptr, nonce.data(), -1) == 1 &&
           EVP_CipherUpdate(context.get(), nullptr, &count, additional.data(),
                            static_cast<int>(additional.size())) == 1;
}

bool RecordSealer::seal(ContentType type, Area header, Area data, Area trailer) noexcept {
    if (isExhausted()) {
        return false;
    }
    const std::uint64_t explicitNonce = finishedNonce + sequence;
    header[0] = static_cast<unsigned char>(type);
    std::copy(std::begin(tls12Version), std::end(tls12Version), &header[1]);
    writeBigEndian(header.subspan(3, 2), suite.explicitNonceSize + data.size() + aeadTagSize);
    writeBigEndian(header.subspan(recordHeaderSize), explicitNonce);
    const bool hasBegun = begin(nonceWith(explicitNonce), header[0], data.size());
    ++sequence; // also after a failure: the nonce has been used
    EVP_CIPHER_CTX* const cipher = context.get();
    const int size = static_cast<int>(data.size());
    int count = 0;
    return hasBegun &&
           (size == 0 || EVP_CipherUpdate(cipher, data.data(), &count, data.data(), size) == 1) &&
           EVP_CipherFinal_ex(cipher, trailer.data(), &count) == 1 &&
           EVP_CIPHER_CTX_ctrl(cipher, EVP_CTRL_AEAD_GET_TAG, aeadTagSize, trailer.data()) == 1;
}

RecordOpener::Outcome RecordOpener::open(std::span<unsigned char> record,
                                         std::span<unsigned char>& plaintext) noexcept {
    if (isExhausted()) {
        return Outcome::failed;
    }
    if (!std::equal(std::begin(tls12Version), std::end(tls12Version), &record[1])) {
        return Outcome::illegal;
    }
    const std::size_t prefixSize = recordHeaderSize + suite.explicitNonceSize;
    if (record.size() < prefixSize + aeadTagSize) {
        return Outcome::altered;
    }
    const std::size_t size = record.size() - prefixSize - aeadTagSize;
    if (size > plaintextLimit) {
        return Outcome::illegal;
    }
    const std::uint64_t explicitNonce =
        readBigEndian(record.subspan(recordHeaderSize, suite.explicitNonceSize));
    if (!begin(nonceWith(explicitNonce), record[0], size)) {
        return Outcome::failed;
    }
    const Outcome outcome = decrypt(record.subspan(prefixSize, size), record.last(aeadTagSize));
    if (outcome == Outcome::opened) {
        ++sequence;
        plaintext = record.subspan(prefixSize, size);
    }
    return outcome;
}

RecordOpener::Outcome RecordOpener::decrypt(std::span<unsigned char> data,
                                            std::span<unsigned char> tag) noexcept {
    EVP_CIPHER_CTX* const cipher = context.get();
    const int size = static_cast<int>(data.size());
    int count = 0;
    const bool isDecrypted =
        EVP_CIPHER_CTX_ctrl(cipher, EVP_CTRL_AEAD_SET_TAG, aeadTagSize, tag.data()) == 1 &&
        (size == 0 || EVP_CipherUpdate(cipher, data.data(), &count, data.data(), size) == 1);
    // The data is plaintext only after EVP_CipherFinal_ex has compared the tag, in constant time.
    unsigned char finalOutput[aeadTagSize];
    const bool isAuthentic = isDecrypted && EVP_CipherFinal_ex(cipher, finalOutput, &count) == 1;
    if (isAuthentic) {
        return Outcome::opened;
    }
    OPENSSL_cleanse(data.data(), data.size());
    return isDecrypted ? Outcome::altered : Outcome::failed;
}

} // namespace VexaSsl::openssl
