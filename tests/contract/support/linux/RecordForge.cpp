#include "contract/support/RecordForge.h"

#include "RawPeerState.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>

#include <stdexcept>

namespace VexaSsl::test {
namespace {

constexpr std::size_t keySize = 16;
constexpr std::size_t fixedNonceSize = 4;
constexpr std::size_t tagSize = 16;

void require(bool done) {
    if (!done) {
        throw std::runtime_error("cannot forge a record");
    }
}

Bytes masterSecret(SSL* peer) {
    const SSL_SESSION* session = SSL_get_session(peer);
    Bytes secret(SSL_SESSION_get_master_key(session, nullptr, 0));
    SSL_SESSION_get_master_key(session, secret.data(), secret.size());
    return secret;
}

Bytes randoms(SSL* peer) {
    Bytes server(SSL3_RANDOM_SIZE);
    Bytes client(SSL3_RANDOM_SIZE);
    SSL_get_server_random(peer, server.data(), server.size());
    SSL_get_client_random(peer, client.data(), client.size());
    return server + client;
}

// The key block: client key, server key, client nonce, server nonce.
Bytes keyBlock(SSL* peer) {
    Bytes secret = masterSecret(peer);
    Bytes seed = bytesOf("key expansion") + randoms(peer);
    char digest[] = "SHA256";
    OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest, 0),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SECRET, secret.data(), secret.size()),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SEED, seed.data(), seed.size()),
        OSSL_PARAM_construct_end()};
    EVP_KDF* function = EVP_KDF_fetch(nullptr, "TLS1-PRF", nullptr);
    EVP_KDF_CTX* run = EVP_KDF_CTX_new(function);
    Bytes block(2 * (keySize + fixedNonceSize));
    const int derived = EVP_KDF_derive(run, block.data(), block.size(), parameters);
    EVP_KDF_CTX_free(run);
    EVP_KDF_free(function);
    require(derived == 1);
    return block;
}

} // namespace

RecordForge::RecordForge(const RawPeer& peer) {
    SSL* const ssl = peer.inside().ssl.get();
    const Bytes block = keyBlock(ssl);
    const std::size_t which = SSL_is_server(ssl) ? 1 : 0;
    key = part(block, which * keySize, keySize);
    fixedNonce = part(block, 2 * keySize + which * fixedNonceSize, fixedNonceSize);
}

Bytes RecordForge::record(unsigned char type, const Bytes& plaintext) {
    const Bytes explicitNonce = {0, 0, 0, 0, 0, 0, 0, sequence};
    const auto high = [](std::size_t size) { return static_cast<unsigned char>(size >> 8); };
    const auto low = [](std::size_t size) { return static_cast<unsigned char>(size & 0xFF); };
    const std::size_t size = plaintext.size();
    const Bytes authenticated = explicitNonce + Bytes{type, 3, 3, high(size), low(size)};
    const Bytes nonce = fixedNonce + explicitNonce;
    Bytes sealed(size);
    Bytes tag(tagSize);
    int count = 0;
    EVP_CIPHER_CTX* cipher = EVP_CIPHER_CTX_new();
    const bool done =
        EVP_EncryptInit_ex(cipher, EVP_aes_128_gcm(), nullptr, key.data(), nonce.data()) == 1 &&
        EVP_EncryptUpdate(cipher, nullptr, &count, authenticated.data(),
                          static_cast<int>(authenticated.size())) == 1 &&
        (size == 0 || EVP_EncryptUpdate(cipher, sealed.data(), &count, plaintext.data(),
                                        static_cast<int>(size)) == 1) &&
        EVP_EncryptFinal_ex(cipher, tag.data(), &count) == 1 &&
        EVP_CIPHER_CTX_ctrl(cipher, EVP_CTRL_AEAD_GET_TAG, tagSize, tag.data()) == 1;
    EVP_CIPHER_CTX_free(cipher);
    require(done);
    ++sequence;
    const std::size_t payload = explicitNonce.size() + sealed.size() + tag.size();
    return Bytes{type, 3, 3, high(payload), low(payload)} + explicitNonce + sealed + tag;
}

} // namespace VexaSsl::test
