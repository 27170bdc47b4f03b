// The protection of TLS 1.2 records in place, in the caller's memory, with the keys that OpenSSL's
// handshake agreed on and with OpenSSL's ciphers. OpenSSL's own record layer would copy every byte
// twice and keep its buffers for as long as the connection lives.
//
// What the protocol asks for (RFC 5246 chapter 6, RFC 5288, RFC 7905) and where it is kept:
//   - The keys are cut from the key block in its order; the PRF's digest is the suite's.
//   - Each direction numbers its records. OpenSSL has made and opened some during the handshake, at
//     least the Finished messages; they were counted, and the numbers go on from there.
//   - A number is never used twice, and neither is a nonce: in AES-GCM the explicit nonce of number
//     n is that of our Finished, which is number 0, plus n, modulo 2^64. Different numbers below
//     2^64 have different nonces so, the Finished's own included. (OpenSSL begins at random;
//     counting from 0 could meet its nonce.) ChaCha20-Poly1305 mixes the number into its nonce.
//   - The last number, 2^64 - 1, is never used: protecting and opening fail instead.
//   - The number, type, version and plaintext's length of a record are authenticated with it.
//   - A record that isn't authentic shows nothing: what was deciphered is wiped out.
//   - Keys are wiped out with their owner, here and inside OpenSSL.
//
// Each object is one direction's, for one thread at a time.
#pragma once

#include "platform/openssl/stores/OpenSslOwners.h"
#include "platform/openssl/tls/RecordBoundary.h"

#include <openssl/ssl.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace VexaSsl::openssl {

// What the negotiated cipher suite makes of a record.
struct RecordShape {
    std::size_t headerSize = 0; // the record header and an explicit nonce
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

// How the suite protects records; null when it isn't one that is known here.
const AeadSuite* aeadSuiteOf(const SSL_CIPHER* suite) noexcept;

// The secrets of one direction, wiped out with the object.
struct DirectionKeys {
    DirectionKeys() = default;
    DirectionKeys(const DirectionKeys&) = default;
    DirectionKeys& operator=(const DirectionKeys&) = default;
    ~DirectionKeys();

    std::array<unsigned char, aeadKeyLimit> key{};
    std::array<unsigned char, aeadNonceSize> fixedNonce{};
};

struct TrafficKeys {
    DirectionKeys client; // what the client protects with
    DirectionKeys server;
};

// What both sides know after a handshake, wiped out with the object.
struct HandshakeSecrets {
    HandshakeSecrets() = default;
    HandshakeSecrets(const HandshakeSecrets&) = delete;
    HandshakeSecrets& operator=(const HandshakeSecrets&) = delete;
    ~HandshakeSecrets();

    std::array<unsigned char, SSL_MAX_MASTER_KEY_LENGTH> master{};
    std::size_t masterSize = 0;
    std::array<unsigned char, SSL3_RANDOM_SIZE> clientRandom{};
    std::array<unsigned char, SSL3_RANDOM_SIZE> serverRandom{};
    const char* digest = ""; // of the PRF, by its name
};

// Of a connection whose handshake is complete.
void readSecrets(const SSL* ssl, HandshakeSecrets& secrets) noexcept;

// Throws std::bad_alloc and OpenSslFailure.
TrafficKeys deriveTrafficKeys(HandshakeSecrets& secrets, const AeadSuite& suite);

using CipherContextPointer = std::unique_ptr<EVP_CIPHER_CTX, Release<EVP_CIPHER_CTX_free>>;

// What both directions share: a keyed cipher, the numbering and the nonces.
class RecordCipher {
public:
    RecordCipher(const RecordCipher&) = delete;
    RecordCipher& operator=(const RecordCipher&) = delete;

protected:
    enum class Use { opening = 0, sealing = 1 }; // as OpenSSL counts them

    // Throws std::bad_alloc and OpenSslFailure.
    RecordCipher(Use use, const AeadSuite& aead, const DirectionKeys& keys,
                 std::uint64_t firstSequence);
    ~RecordCipher() = default;

    bool isExhausted() const noexcept;
    // The nonce of the record with the next number.
    using Nonce = std::array<unsigned char, aeadNonceSize>;
    Nonce nonceWith(std::uint64_t explicitNonce) const noexcept;
    // Sets the nonce and takes in what is authenticated but not enciphered.
    bool begin(const Nonce& nonce, unsigned char type, std::size_t plaintextSize) noexcept;

    CipherContextPointer context;
    const AeadSuite& suite;
    DirectionKeys secrets; // its key is the cipher's by now, and wiped out
    std::uint64_t sequence;
};

class RecordSealer final : public RecordCipher {
public:
    // finishedNonce: the explicit nonce of number 0; of no account in a suite without one.
    RecordSealer(const AeadSuite& aead, const DirectionKeys& keys, std::uint64_t firstSequence,
                 std::uint64_t finishedNonce)
        : RecordCipher(Use::sealing, aead, keys, firstSequence), nonceOfNumberZero(finishedNonce) {}

    using Area = std::span<unsigned char>;
    // Makes the next record of data, at most 2^14 bytes, in place; header and trailer have exactly
    // the shape's sizes. Result: false when the numbers are used up or the cipher fails; nothing
    // may be sent any more then.
    bool seal(ContentType type, Area header, Area data, Area trailer) noexcept;

private:
    std::uint64_t nonceOfNumberZero;
};

class RecordOpener final : public RecordCipher {
public:
    // plaintextLimit: the most that a record of the peer may hold.
    RecordOpener(const AeadSuite& aead, const DirectionKeys& keys, std::uint64_t firstSequence,
                 std::size_t plaintextLimit)
        : RecordCipher(Use::opening, aead, keys, firstSequence), limit(plaintextLimit) {}

    enum class Outcome {
        opened,
        altered, // not the next record of the peer
        illegal, // of another version or longer than it may be; told without a look inside
        broken,  // the numbers are used up or the cipher fails
    };
    // Opens one whole record in place. plaintext is set when it is opened and lies in the record,
    // with nothing else of it in front but the header and an explicit nonce. After any other
    // outcome nothing may be opened any more.
    Outcome open(std::span<unsigned char> record, std::span<unsigned char>& plaintext) noexcept;

private:
    Outcome decipher(std::span<unsigned char> data, std::span<unsigned char> tag) noexcept;

    std::size_t limit;
};

} // namespace VexaSsl::openssl
