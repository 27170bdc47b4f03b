// The object of a CtxtHandle: one TLS connection. OpenSSL's SSL object runs the handshake over a
// MemoryBio and is then released; records of application data are protected here.
//
// One thread may seal and another open records at the same time: sealing holds sendMutex, which
// guards the sealer, and every other call holds mutex, which guards the rest. To hold both, lock
// mutex first. No call blocks otherwise while it holds one.
#pragma once

#include "platform/openssl/tls/Credentials.h"
#include "platform/openssl/tls/MemoryBio.h"
#include "platform/openssl/tls/RecordCipher.h"
#include "platform/openssl/tls/RecordCounter.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace VexaSsl::openssl {

using SslPointer = std::unique_ptr<SSL, Release<SSL_free>>;

enum class Stage {
    negotiating,
    established,
    closed, // the peer has sent its closure alert; sealing still works
    failed, // permanently, with the status in failure
};

struct ReleaseChain {
    void operator()(STACK_OF(X509) * chain) const noexcept { releaseCertificateStack(chain); }
};

// The peer's certificate, and the chain as it was sent; null without one.
struct PeerCertificates {
    X509Pointer leaf;
    std::unique_ptr<STACK_OF(X509), ReleaseChain> chain;
};

// The same in DER, which takes a tenth of the memory; an idle connection keeps this.
struct EncodedCertificates {
    std::vector<unsigned char> leaf; // empty without one
    std::vector<std::vector<unsigned char>> chain;
};

struct TlsConnection {
    // Throws std::bad_alloc and OpenSslFailure.
    explicit TlsConnection(const Credentials& credentials);

    // Marks the connection as failed. The caller holds mutex or sendMutex. If both directions fail,
    // later calls return the status of the first failure. Returns status.
    SECURITY_STATUS fail(SECURITY_STATUS status) noexcept;
    // The same, and wipes the keys. The caller holds mutex and not sendMutex.
    SECURITY_STATUS failAndWipeKeys(SECURITY_STATUS status) noexcept;

    // Returns whether the peer's certificate has arrived.
    bool hasPeerCertificate() const noexcept;

    std::mutex mutex;
    std::mutex sendMutex;
    const Role role;
    std::atomic<Stage> stage = Stage::negotiating;
    std::atomic<SECURITY_STATUS> failure = SEC_E_OK; // set before stage

    // When a server requests a certificate that the client doesn't have, the handshake is suspended
    // unless the caller permits to continue without one. consumedBefore is the number of bytes of
    // the repeated token that are already consumed.
    bool mayContinueWithoutCertificate = false;
    std::size_t consumedBefore = 0;

    // For the handshake. ssl is null once established.
    MemoryBio memoryBio; // outlives ssl
    SslPointer ssl;
    RecordCounter sent;
    RecordCounter received;

    // Constant once established, except decodedPeer.
    RecordShape shape;
    const SSL_CIPHER* suite = nullptr; // static in OpenSSL, not owned by the connection
    X509Pointer ownCertificate;        // shared with the credential; null without one
    EncodedCertificates peer;
    // Kept until the first record is opened: callers usually query the certificate before that, and
    // then it needn't be decoded again.
    PeerCertificates decodedPeer;

    // Present once established, until the keys are wiped. sendMutex guards the sealer only.
    std::optional<RecordSealer> sealer;
    std::optional<RecordOpener> opener;
    unsigned emptyRecords = 0; // consecutive ones from the peer
    unsigned warnings = 0;     // likewise
};

} // namespace VexaSsl::openssl
