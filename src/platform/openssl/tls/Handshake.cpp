#include "platform/openssl/tls/Handshake.h"

#include "platform/openssl/stores/OpenSslFailure.h"
#include "platform/openssl/tls/Statuses.h"
#include <cstddef>
#include <cstdint>
#include <vector>

namespace VexaSsl::openssl {
namespace {

constexpr std::size_t recordPlaintextLimit = 16384;

// A peer may have asked for smaller records (the maximum fragment length extension).
std::size_t maximumMessageOf(const SSL* ssl) {
    const SSL_SESSION* session = SSL_get_session(ssl);
    const std::uint8_t code = session ? SSL_SESSION_get_max_fragment_length(session) : 0;
    const bool asked =
        code >= TLSEXT_max_fragment_length_512 && code <= TLSEXT_max_fragment_length_4096;
    return asked ? std::size_t{256} << code : recordPlaintextLimit;
}

// The certificates outlive the connection that they came by.
PeerCertificates certificatesOf(const SSL* ssl) {
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

std::vector<unsigned char> encoded(X509* certificate) {
    const int size = i2d_X509(certificate, nullptr);
    if (size <= 0) {
        throw std::bad_alloc();
    }
    std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
    unsigned char* next = bytes.data();
    i2d_X509(certificate, &next);
    return bytes;
}

EncodedCertificates encoded(const PeerCertificates& certificates) {
    EncodedCertificates peer;
    if (certificates.leaf) {
        peer.leaf = encoded(certificates.leaf.get());
    }
    const STACK_OF(X509)* chain = certificates.chain.get();
    for (int i = 0; chain && i < sk_X509_num(chain); ++i) {
        peer.chain.push_back(encoded(sk_X509_value(chain, i)));
    }
    return peer;
}

// Takes the numbering and the keys over from OpenSSL.
void takeOver(TlsConnection& context, const AeadSuite& aead) {
    const SSL* ssl = context.ssl.get();
    context.suite = SSL_get_current_cipher(ssl);
    context.shape = {.headerSize = recordHeaderSize + aead.explicitNonceSize,
                     .trailerSize = aeadTagSize,
                     .maximumMessage = maximumMessageOf(ssl)};
    context.decodedPeer = certificatesOf(ssl);
    context.peer = encoded(context.decodedPeer);
    HandshakeSecrets secrets;
    readSecrets(ssl, secrets);
    const TrafficKeys keys = deriveTrafficKeys(secrets, aead);
    const bool isClient = context.role == Role::client;
    context.sealer.emplace(aead, isClient ? keys.client : keys.server,
                           context.sent.protectedCount(), context.sent.lastNonce());
    context.opener.emplace(aead, isClient ? keys.server : keys.client,
                           context.received.protectedCount(), context.shape.maximumMessage);
}

// Whether it is certain where OpenSSL's numbering stands: our Finished is the only record that it
// has protected, so that its nonce is the one of number 0.
bool isNumberingKnown(const TlsConnection& context) {
    return context.sent.complete() && context.sent.protectedCount() == 1 &&
           context.received.complete() && context.received.protectedCount() > 0;
}

SECURITY_STATUS establish(TlsConnection& context) {
    // Something more in the record that held the peer's last handshake message.
    if (SSL_has_pending(context.ssl.get())) {
        return context.fail(SEC_E_ILLEGAL_MESSAGE);
    }
    const AeadSuite* aead = aeadSuiteOf(SSL_get_current_cipher(context.ssl.get()));
    if (!aead || !isNumberingKnown(context)) {
        return context.fail(SEC_E_INTERNAL_ERROR);
    }
    try {
        takeOver(context, *aead);
    } catch (const std::bad_alloc&) {
        return context.fail(SEC_E_INSUFFICIENT_MEMORY); // the token with our Finished is lost
    } catch (const OpenSslFailure&) {
        return context.fail(SEC_E_INTERNAL_ERROR);
    }
    context.ssl.reset();
    context.stage = Stage::established;
    return SEC_E_OK;
}

// Goes on with as many of the records as OpenSSL takes, and takes them off. It reads record by
// record, so behind the last one of the handshake it stops.
SECURITY_STATUS step(TlsConnection& context, ByteView& records, const Token& token) {
    SSL* ssl = context.ssl.get();
    const std::size_t sentBefore = token.size();
    context.wire.feed(records);
    const int result = SSL_do_handshake(ssl);
    const std::size_t taken = records.size() - context.wire.unread();
    context.sent.note(token.bytes().subspan(sentBefore));
    context.received.note(records.first(taken));
    records = records.subspan(taken);
    if (result == 1) {
        return establish(context);
    }
    switch (SSL_get_error(ssl, result)) {
    case SSL_ERROR_WANT_READ:
        return SEC_I_CONTINUE_NEEDED;
    case SSL_ERROR_WANT_X509_LOOKUP: // it goes on from there
        return SEC_I_INCOMPLETE_CREDENTIALS;
    case SSL_ERROR_ZERO_RETURN: // a closure in the place of a handshake message
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
    context.wire.writeTo(&token);
    ByteView rest = records.subspan(consumed);
    const SECURITY_STATUS status = step(context, rest, token);
    consumed = records.size() - rest.size();
    context.consumedBefore = status == SEC_I_INCOMPLETE_CREDENTIALS ? consumed : 0;
    context.wire.feed({});
    context.wire.writeTo(nullptr);
    return status;
}

} // namespace VexaSsl::openssl
