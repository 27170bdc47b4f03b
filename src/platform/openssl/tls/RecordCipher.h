// Protection of TLS 1.2 records in place, with the keys of OpenSSL's handshake and with OpenSSL's
// ciphers. OpenSSL's own record layer would copy every byte twice and hold its buffers for as long
// as the connection lives.
//
// How the requirements of RFC 5246 (chapter 6), RFC 5288 and RFC 7905 are met:
//   - Keys: taken from the key block in its order; the PRF's digest is that of the cipher suite.
//   - Sequence numbers: OpenSSL does not expose its own, and has protected and opened records in
//     the handshake, at least the Finished messages; we count those that pass (RecordCounter) and
//     continue from there.
//   - Nonces: never reused, because no sequence number is. In AES-GCM the explicit nonce of
//     sequence number n is that of our Finished, which has number 0, plus n, modulo 2^64. The
//     nonces of fewer than 2^64 records differ, that of the Finished included. (OpenSSL's first
//     one is random; counting from 0 could reach it.) In ChaCha20-Poly1305 the nonce contains the
//     sequence number.
//   - Limit: the last sequence number, 2^64 - 1, is never used; sealing and opening fail instead.
//   - Additional data: the sequence number, type, version and plaintext length.
//   - Forged records: the decrypted bytes are wiped and not returned.
//   - Keys are wiped when their owner is destroyed, here and inside OpenSSL.
//
// Each object serves one direction. One thread at a time.
#pragma once

#include "platform/openssl/stores/OpenSslOwners.h"
#include "platform/openssl/stores/SecretArray.h"
#include "platform/openssl/tls/RecordBoundary.h"

#include <openssl/ssl.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace VexaSsl::openssl {

// The sizes of a record's parts with the negotiated cipher suite, in bytes.
struct RecordShape {
    std::size_t headerSize = 0; // record header and explicit nonce
    std::size_t trailerSize = 0;
    std::size_t maximumMessage = 0;
};

struct AeadSuite {
    const char* cipherName;
    std::size_t keySize;
    std::size_t fixedNonceSize;
    std::size_t explicitNonceSize;
};

inline constexpr std::size_t aeadKeyLimit = 32;
inline constexpr std::size_t aeadNonceSize = 12;
inline constexpr std::size_t aeadTagSize = 16;

// Returns the AEAD parameters of the cipher suite; null for a suite that isn't supported.
const AeadSuite* aeadSuiteOf(const SSL_CIPHER* suite) noexcept;

// The secrets of one direction.
struct DirectionKeys {
    SecretArray<aeadKeyLimit> key;
    SecretArray<aeadNonceSize> fixedNonce;
};

struct TrafficKeys {
    DirectionKeys client; // the client's write keys
    DirectionKeys server; // the server's
};

// The inputs of the key derivation.
struct HandshakeSecrets {
    SecretArray<SSL_MAX_MASTER_KEY_LENGTH> master;
    std::size_t masterSize = 0;
    std::array<unsigned char, SSL3_RANDOM_SIZE> clientRandom{};
    std::array<unsigned char, SSL3_RANDOM_SIZE> serverRandom{};
    const char* digest = ""; // name of the PRF's digest
};

// Reads the secrets of a connection whose handshake is complete.
void readSecrets(const SSL* ssl, HandshakeSecrets& secrets) noexcept;

// Throws std::bad_alloc and OpenSslFailure.
TrafficKeys deriveTrafficKeys(HandshakeSecrets& secrets, const AeadSuite& suite);

using CipherContextPointer = std::unique_ptr<EVP_CIPHER_CTX, Release<EVP_CIPHER_CTX_free>>;

// The common part of both directions: cipher, sequence numbers and nonces.
class RecordCipher {
public:
    RecordCipher(const RecordCipher&) = delete;
    RecordCipher& operator=(const RecordCipher&) = delete;

protected:
    enum class Use { opening = 0, sealing = 1 }; // the enc argument of EVP_CipherInit_ex

    // Throws std::bad_alloc and OpenSslFailure.
    RecordCipher(Use use, const AeadSuite& suite, const DirectionKeys& keys,
                 std::uint64_t sequence);
    ~RecordCipher() = default;

    bool isExhausted() const noexcept;
    using Nonce = std::array<unsigned char, aeadNonceSize>;
    // Returns the nonce of the record with the next sequence number.
    Nonce nonceWith(std::uint64_t explicitNonce) const noexcept;
    // Sets the nonce and the additional data. Returns false when the cipher fails.
    bool begin(const Nonce& nonce, unsigned char type, std::size_t plaintextSize) noexcept;

    CipherContextPointer context;
    const AeadSuite& suite;
    DirectionKeys secrets;  // only the fixed nonce: the key is in the cipher and wiped here
    std::uint64_t sequence; // of the next record
};

class RecordSealer final : public RecordCipher {
public:
    // finishedNonce: the explicit nonce of sequence number 0; ignored for a suite without one.
    RecordSealer(const AeadSuite& suite, const DirectionKeys& keys, std::uint64_t sequence,
                 std::uint64_t finishedNonce)
        : RecordCipher(Use::sealing, suite, keys, sequence), finishedNonce(finishedNonce) {}

    using Area = std::span<unsigned char>;
    // Encrypts data, at most 2^14 bytes, in place, and writes header and trailer, which have
    // exactly the sizes of RecordShape. Returns false when the sequence numbers are exhausted or
    // the cipher fails; then the object must not be used again.
    bool seal(ContentType type, Area header, Area data, Area trailer) noexcept;

private:
    std::uint64_t finishedNonce;
};

class RecordOpener final : public RecordCipher {
public:
    // plaintextLimit: the largest plaintext of a record, in bytes.
    RecordOpener(const AeadSuite& suite, const DirectionKeys& keys, std::uint64_t sequence,
                 std::size_t plaintextLimit)
        : RecordCipher(Use::opening, suite, keys, sequence), plaintextLimit(plaintextLimit) {}

    enum class Outcome {
        opened,
        altered, // not the peer's next record, or changed
        illegal, // wrong version or too long; detected before decryption
        failed,  // the sequence numbers are exhausted or the cipher fails
    };
    // Opens one whole record in place. If opened, plaintext is the part of the record that follows
    // the header and the explicit nonce. After any other outcome the object must not be used again.
    Outcome open(std::span<unsigned char> record, std::span<unsigned char>& plaintext) noexcept;

private:
    Outcome decrypt(std::span<unsigned char> data, std::span<unsigned char> tag) noexcept;

    std::size_t plaintextLimit;
};

} // namespace VexaSsl::openssl
