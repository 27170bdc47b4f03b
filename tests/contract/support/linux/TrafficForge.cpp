#include "TrafficForge.h"

#include "RawPeerState.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <memory>
#include <stdexcept>

namespace VexaSsl::test {
namespace {

constexpr std::size_t headerSize = 5;
constexpr std::size_t explicitNonceSize = 8;
constexpr std::size_t tagSize = 16;

void require(bool done) {
    if (!done) {
        throw std::runtime_error("cannot forge a record");
    }
}

Bytes bigEndian(std::uint64_t number, std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = size; i > 0; --i, number >>= 8) {
        bytes[i - 1] = static_cast<unsigned char>(number);
    }
    return bytes;
}

Bytes hmac(const EVP_MD* digest, const Bytes& key, const Bytes& data) {
    Bytes result(EVP_MAX_MD_SIZE);
    unsigned int size = 0;
    require(HMAC(digest, key.data(), static_cast<int>(key.size()), data.data(), data.size(),
                 result.data(), &size) != nullptr);
    result.resize(size);
    return result;
}

// P_hash of the TLS 1.2 pseudorandom function.
Bytes expand(const EVP_MD* digest, const Bytes& secret, const Bytes& seed, std::size_t size) {
    Bytes block;
    for (Bytes round = hmac(digest, secret, seed); block.size() < size;
         round = hmac(digest, secret, round)) {
        block = block + hmac(digest, secret, round + seed);
    }
    return part(block, 0, size);
}

Bytes masterSecret(const SSL* peer) {
    const SSL_SESSION* session = SSL_get_session(peer);
    Bytes secret(SSL_SESSION_get_master_key(session, nullptr, 0));
    SSL_SESSION_get_master_key(session, secret.data(), secret.size());
    return secret;
}

Bytes seedOf(const SSL* peer) {
    Bytes server(SSL3_RANDOM_SIZE);
    Bytes client(SSL3_RANDOM_SIZE);
    SSL_get_server_random(peer, server.data(), server.size());
    SSL_get_client_random(peer, client.data(), client.size());
    return bytesOf("key expansion") + server + client;
}

std::string cipherOf(const SSL_CIPHER* suite) {
    switch (SSL_CIPHER_get_cipher_nid(suite)) {
    case NID_aes_128_gcm:
        return "AES-128-GCM";
    case NID_aes_256_gcm:
        return "AES-256-GCM";
    default:
        return "ChaCha20-Poly1305";
    }
}

struct CipherRun {
    explicit CipherRun(const std::string& name)
        : cipher(EVP_CIPHER_fetch(nullptr, name.c_str(), nullptr), EVP_CIPHER_free),
          context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free) {}

    std::unique_ptr<EVP_CIPHER, decltype(&EVP_CIPHER_free)> cipher;
    std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context;
    int count = 0;
};

Bytes authenticated(std::uint64_t sequence, const Bytes& typeAndVersion, std::size_t size) {
    return bigEndian(sequence, 8) + typeAndVersion + bigEndian(size, 2);
}

} // namespace

TrafficForge::TrafficForge(const RawPeer& peer, Direction direction) {
    SSL* const ssl = peer.inside().ssl.get();
    const SSL_CIPHER* suite = SSL_get_current_cipher(ssl);
    cipher = cipherOf(suite);
    const std::size_t keySize = cipher == "AES-128-GCM" ? 16 : 32;
    const std::size_t nonceSize = cipher == "ChaCha20-Poly1305" ? 12 : 4;
    const Bytes block = expand(SSL_CIPHER_get_handshake_digest(suite), masterSecret(ssl),
                               seedOf(ssl), 2 * (keySize + nonceSize));
    const bool serverSpeaks = (SSL_is_server(ssl) == 1) == (direction == Direction::fromPeer);
    const std::size_t which = serverSpeaks ? 1 : 0;
    key = part(block, which * keySize, keySize);
    fixedNonce = part(block, 2 * keySize + which * nonceSize, nonceSize);
}

Bytes TrafficForge::nonceOf(std::uint64_t sequence, const Bytes& explicitNonce) const {
    if (hasExplicitNonce()) {
        return fixedNonce + explicitNonce;
    }
    Bytes nonce = bigEndian(sequence, 12);
    for (std::size_t i = 0; i < nonce.size(); ++i) {
        nonce[i] ^= fixedNonce[i];
    }
    return nonce;
}

Bytes TrafficForge::seal(const RecordFields& fields, const Bytes& plaintext) const {
    const Bytes explicitNonce =
        hasExplicitNonce() ? bigEndian(fields.explicitNonce, explicitNonceSize) : Bytes();
    const Bytes start = {fields.type, 3, fields.minorVersion};
    const Bytes additional = authenticated(fields.sequence, start, plaintext.size());
    const Bytes nonce = nonceOf(fields.sequence, explicitNonce);
    const int size = static_cast<int>(plaintext.size());
    Bytes sealed(plaintext.size());
    Bytes tag(tagSize);
    CipherRun run(cipher);
    EVP_CIPHER_CTX* const context = run.context.get();
    require(EVP_EncryptInit_ex(context, run.cipher.get(), nullptr, key.data(), nonce.data()) == 1 &&
            EVP_EncryptUpdate(context, nullptr, &run.count, additional.data(),
                              static_cast<int>(additional.size())) == 1 &&
            (size == 0 ||
             EVP_EncryptUpdate(context, sealed.data(), &run.count, plaintext.data(), size) == 1) &&
            EVP_EncryptFinal_ex(context, sealed.data(), &run.count) == 1 &&
            EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_GET_TAG, tagSize, tag.data()) == 1);
    const Bytes payload = explicitNonce + sealed + tag;
    return start + bigEndian(payload.size(), 2) + payload;
}

bool TrafficForge::open(std::uint64_t sequence, const Bytes& record, Bytes& plaintext) const {
    const std::size_t ahead = headerSize + (hasExplicitNonce() ? explicitNonceSize : 0);
    if (record.size() < ahead + tagSize ||
        part(record, 3, 2) != bigEndian(record.size() - headerSize, 2)) {
        return false;
    }
    const std::size_t size = record.size() - ahead - tagSize;
    const Bytes nonce = nonceOf(sequence, part(record, headerSize, ahead - headerSize));
    const Bytes additional = authenticated(sequence, part(record, 0, 3), size);
    Bytes tag = part(record, record.size() - tagSize);
    plaintext.assign(size, 0);
    CipherRun run(cipher);
    EVP_CIPHER_CTX* const context = run.context.get();
    return EVP_DecryptInit_ex(context, run.cipher.get(), nullptr, key.data(), nonce.data()) == 1 &&
           EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_SET_TAG, tagSize, tag.data()) == 1 &&
           EVP_DecryptUpdate(context, nullptr, &run.count, additional.data(),
                             static_cast<int>(additional.size())) == 1 &&
           (size == 0 || EVP_DecryptUpdate(context, plaintext.data(), &run.count,
                                           record.data() + ahead, static_cast<int>(size)) == 1) &&
           EVP_DecryptFinal_ex(context, tag.data(), &run.count) == 1;
}

std::uint64_t explicitNonceIn(const Bytes& record) {
    std::uint64_t number = 0;
    for (const unsigned char byte : part(record, headerSize, explicitNonceSize)) {
        number = number << 8 | byte;
    }
    return number;
}

std::vector<Bytes> recordsIn(const Bytes& bytes) {
    std::vector<Bytes> records;
    std::size_t at = 0;
    for (const std::size_t size : recordSizes(bytes)) {
        records.push_back(part(bytes, at, size));
        at += size;
    }
    return records;
}

} // namespace VexaSsl::test
