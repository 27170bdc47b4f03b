#include "security/Handshake.h"

#include "security/Statuses.h"

#include <openssl/obj_mac.h>

namespace VexaSsl::portable {
namespace {

constexpr std::size_t explicitNonceSize = 8; // of AES-GCM in TLS 1.2; ChaCha20-Poly1305 has none
constexpr std::size_t tagSize = 16;
constexpr std::size_t recordPlaintextLimit = 16384;

// A peer may have asked for smaller records (the maximum fragment length extension).
std::size_t maximumMessageOf(const SSL* ssl) {
    const SSL_SESSION* session = SSL_get_session(ssl);
    const std::uint8_t code = session ? SSL_SESSION_get_max_fragment_length(session) : 0;
    const bool asked =
        code >= TLSEXT_max_fragment_length_512 && code <= TLSEXT_max_fragment_length_4096;
    return asked ? std::size_t{256} << code : recordPlaintextLimit;
}

RecordShape shapeOf(const SSL* ssl) {
    const int cipher = SSL_CIPHER_get_cipher_nid(SSL_get_current_cipher(ssl));
    const std::size_t nonce = cipher == NID_chacha20_poly1305 ? 0 : explicitNonceSize;
    return {.headerSize = recordHeaderSize + nonce,
            .trailerSize = tagSize,
            .maximumMessage = maximumMessageOf(ssl)};
}

SECURITY_STATUS establish(TlsConnection& context) {
    // Something more in the record that held the peer's last handshake message.
    if (SSL_has_pending(context.ssl.get()))
        return context.fail(SEC_E_ILLEGAL_MESSAGE);
    context.shape = shapeOf(context.ssl.get());
    context.stage = Stage::established;
    return SEC_E_OK;
}

SECURITY_STATUS step(TlsConnection& context) {
    SSL* ssl = context.ssl.get();
    const int result = SSL_do_handshake(ssl);
    if (result == 1)
        return establish(context);
    switch (SSL_get_error(ssl, result)) {
    case SSL_ERROR_WANT_READ:
        return SEC_I_CONTINUE_NEEDED;
    case SSL_ERROR_WANT_X509_LOOKUP:
        context.askedForCertificate = true;
        return SEC_I_INCOMPLETE_CREDENTIALS;
    case SSL_ERROR_ZERO_RETURN: // a closure in the place of a handshake message
        return context.fail(SEC_E_CONTEXT_EXPIRED);
    default:
        return context.fail(statusOfFailure(ssl));
    }
}

// The first step, which needs no input: a client's start, or going on without a certificate.
bool needsNoInput(const TlsConnection& context, ByteView records) {
    return records.empty() || context.askedForCertificate;
}

} // namespace

SECURITY_STATUS advanceHandshake(TlsConnection& context, ByteView records, Token& token,
                                 std::size_t& consumed) {
    consumed = context.consumedBefore;
    if (consumed > records.size())
        return context.fail(SEC_E_INVALID_TOKEN);
    context.wire.writeTo(&token);
    SECURITY_STATUS status = SEC_I_CONTINUE_NEEDED;
    if (needsNoInput(context, records)) {
        context.askedForCertificate = false;
        status = step(context);
    }
    while (status == SEC_I_CONTINUE_NEEDED && consumed < records.size()) {
        const ByteView rest = records.subspan(consumed);
        const std::size_t size = firstRecord(rest).size;
        context.wire.feed(rest.first(size));
        consumed += size;
        status = step(context);
    }
    context.consumedBefore = status == SEC_I_INCOMPLETE_CREDENTIALS ? consumed : 0;
    context.wire.feed({});
    context.wire.writeTo(nullptr);
    return status;
}

} // namespace VexaSsl::portable
