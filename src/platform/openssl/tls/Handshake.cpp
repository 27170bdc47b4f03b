#include "platform/openssl/tls/Handshake.h"

#include "platform/openssl/stores/Encoding.h"
#include "platform/openssl/stores/OpenSslFailure.h"
#include "platform/openssl/tls/Statuses.h"

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace VexaSsl::openssl {
namespace {

constexpr std::size_t recordPlaintextLimit = 16384;

// A client may negotiate smaller records (the max_fragment_length extension). The handshake has
// ended, so there is a session.
std::size_t maximumMessageSize(const SSL* ssl) {
    const std::uint8_t code = SSL_SESSION_get_max_fragment_length(SSL_get_session(ssl));
    const bool isNegotiated =
        code >= TLSEXT_max_fragment_length_512 && code <= TLSEXT_max_fragment_length_4096;
    return isNegotiated ? std::size_t{256} << code : recordPlaintextLimit;
}

// Returns references of their own, which outlive the SSL object.
PeerCertificates peerCertificates(const SSL* ssl) {
    PeerCertificates peer;
    X509* leaf = SSL_get0_peer_certificate(ssl);
    if (!leaf) {
        return peer;
    }
    peer.leaf = sharedReference(leaf);
    if (STACK_OF(X509)* chain = SSL_get_peer_cert_chain(ssl)) {
        peer.chain.reset(orOutOfMemory(X509_chain_up_ref(chain)));
    }
    return peer;
}

EncodedCertificates encodedPeer(const PeerCertificates& certificates) {
    EncodedCertificates peer;
    if (certificates.leaf) {
        peer.leaf = encoded(certificates.leaf.get(), i2d_X509);
    }
    const STACK_OF(X509)* chain = certificates.chain.get();
    for (int i = 0; chain && i < sk_X509_num(chain); ++i) {
        peer.chain.push_back(encoded(sk_X509_value(chain, i), i2d_X509));
    }
    return peer;
}

// Derives the keys and takes the sequence numbers, to protect the records that follow the
// handshake.
void startRecordProtection(TlsConnection& context, const AeadSuite& aead) {
    const SSL* ssl = context.ssl.get();
    context.suite = SSL_get_current_cipher(ssl);
    context.shape = {.headerSize = recordHeaderSize + aead.explicitNonceSize,
                     .trailerSize = aeadTagSize,
                     .maximumMessage = maximumMessageSize(ssl)};
    if (X509* own = SSL_get_certificate(ssl)) {
        context.ownCertificate = sharedReference(own);
    }
    context.decodedPeer = peerCertificates(ssl);
    context.peer = encodedPeer(context.decodedPeer);
    HandshakeSecrets secrets;
    readSecrets(ssl, secrets);
    const TrafficKeys keys = deriveTrafficKeys(secrets, aead);
    const bool isClient = context.role == Role::client;
    context.sealer.emplace(aead, isClient ? keys.client : keys.server,
                           context.sent.protectedCount(), context.sent.lastExplicitNonce());
    context.opener.emplace(aead, isClient ? keys.server : keys.client,
                           context.received.protectedCount(), context.shape.maximumMessage);
}

// Returns whether OpenSSL's sequence numbers are known: our Finished must be the only protected
// record sent, so that its nonce is that of sequence number 0.
bool isNumberingKnown(const TlsConnection& context) {
    return context.sent.isComplete() && context.sent.protectedCount() == 1 &&
           context.received.isComplete() && context.received.protectedCount() > 0;
}

SECURITY_STATUS establish(TlsConnection& context) {
    // The record with the peer's last handshake message contains more data.
    if (SSL_has_pending(context.ssl.get())) {
        return context.fail(SEC_E_ILLEGAL_MESSAGE);
    }
    const AeadSuite* aead = aeadSuiteOf(SSL_get_current_cipher(context.ssl.get()));
    if (!aead || !isNumberingKnown(context)) {
        return context.fail(SEC_E_INTERNAL_ERROR);
    }
    try {
        startRecordProtection(context, *aead);
    } catch (const std::bad_alloc&) {
        return context.fail(
            SEC_E_INSUFFICIENT_MEMORY); // final: the token with our Finished is lost
    } catch (const OpenSslFailure&) {
        return context.fail(SEC_E_INTERNAL_ERROR);
    }
    context.ssl.reset();
    context.stage = Stage::established;
    return SEC_E_OK;
}

// Continues the handshake and removes the records that OpenSSL has consumed. It reads one record at
// a time, so it consumes none after the last handshake record.
SECURITY_STATUS step(TlsConnection& context, ByteView& records, const Token& token) {
    SSL* ssl = context.ssl.get();
    const std::size_t tokenSizeBefore = token.size();
    context.memoryBio.setInput(records);
    const int result = SSL_do_handshake(ssl);
    const std::size_t consumed = records.size() - context.memoryBio.unread();
    context.sent.count(token.bytes().subspan(tokenSizeBefore));
    context.received.count(records.first(consumed));
    records = records.subspan(consumed);
    if (result == 1) {
        return establish(context);
    }
    switch (SSL_get_error(ssl, result)) {
    case SSL_ERROR_WANT_READ:
        return SEC_I_CONTINUE_NEEDED;
    case SSL_ERROR_WANT_X509_LOOKUP: // the next call continues from here
        return SEC_I_INCOMPLETE_CREDENTIALS;
    case SSL_ERROR_ZERO_RETURN: // a closure alert instead of a handshake message
        return context.fail(SEC_E_CONTEXT_EXPIRED);
    default:
        return context.fail(statusOfFailure("SSL_do_handshake", ssl));
    }
}

} // namespace

SECURITY_STATUS advanceHandshake(TlsConnection& context, ByteView records, Token& token,
                                 std::size_t& consumed) {
    consumed = context.consumedBefore;
    if (consumed > records.size()) {
        return context.fail(SEC_E_INVALID_TOKEN);
    }
    context.memoryBio.setOutput(&token);
    ByteView remaining = records.subspan(consumed);
    const SECURITY_STATUS status = step(context, remaining, token);
    consumed = records.size() - remaining.size();
    context.consumedBefore = status == SEC_I_INCOMPLETE_CREDENTIALS ? consumed : 0;
    context.memoryBio.setInput({});
    context.memoryBio.setOutput(nullptr);
    return status;
}

} // namespace VexaSsl::openssl
