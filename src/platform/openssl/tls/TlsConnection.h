// What stands behind a CtxtHandle: one TLS connection. OpenSSL's object shakes hands over a wire of
// ours and is released when that is done; the records of data are protected here.
//
// One thread may protect and another open records at the same time without ever meeting: the one
// holds sending, every other call holds guarding, for as long as it works on the members that are
// named for it. Who needs both takes guarding first. No call waits for anything else inside.
#pragma once

#include "platform/openssl/tls/Credentials.h"
#include "platform/openssl/tls/MemoryBio.h"
#include "platform/openssl/tls/RecordCipher.h"
#include "platform/openssl/tls/RecordTally.h"

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
    closed, // the peer has sent its closure; protecting still works
    failed, // for good; failure tells why
};

struct ReleaseChain {
    void operator()(STACK_OF(X509) * chain) const noexcept { releaseCertificateStack(chain); }
};

// The certificate that the peer has shown, and the chain as it was sent; null without one.
struct PeerCertificates {
    X509Pointer leaf;
    std::unique_ptr<STACK_OF(X509), ReleaseChain> chain;
};

// The same as it came over the wire, a tenth of the memory: what an idle connection keeps.
struct EncodedCertificates {
    std::vector<unsigned char> leaf; // empty without one
    std::vector<std::vector<unsigned char>> chain;
};

struct TlsConnection {
    // A connection that hasn't begun. Throws std::bad_alloc and OpenSslFailure.
    explicit TlsConnection(const Credentials& credentials);

    // Marks the connection as failed; guarding or sending is held. The first failure counts, when
    // both directions fail at once. Result: the status, which every later call gives again.
    SECURITY_STATUS fail(SECURITY_STATUS status) noexcept;
    // The same of an established connection, whose keys are wiped out as well. guarding is held,
    // sending is not.
    SECURITY_STATUS failForgetting(SECURITY_STATUS status) noexcept;

    // Whether the peer has shown a certificate, told as soon as it has come.
    bool hasPeerCertificate() const noexcept;

    std::mutex guarding;
    std::mutex sending;
    const Role role;
    std::atomic<Stage> stage = Stage::negotiating;
    std::atomic<SECURITY_STATUS> failure = SEC_E_OK; // set before the stage is

    // A client that was asked for a certificate it doesn't have stops there until the caller says
    // that it may go on without. consumedBefore counts the bytes of the repeated token that are
    // consumed already.
    bool mayGoWithoutCertificate = false;
    std::size_t consumedBefore = 0;

    // The handshake's; ssl is null once established.
    Wire wire; // outlives ssl
    SslPointer ssl;
    RecordTally sent;
    RecordTally received;

    // Unchanged once established, but for decodedPeer.
    RecordShape shape;
    const SSL_CIPHER* suite = nullptr; // OpenSSL's for good, not the connection's
    EncodedCertificates peer;
    // Until the first record is opened: who wants to know the peer asks before that, as a rule, and
    // is spared the decoding.
    PeerCertificates decodedPeer;

    // Once established, until the keys are forgotten. The sealer is the one thing that sending
    // guards.
    std::optional<RecordSealer> sealer;
    std::optional<RecordOpener> opener;
    unsigned emptyRecords = 0; // of the peer, one behind the other
    unsigned warnings = 0;
};

} // namespace VexaSsl::openssl
