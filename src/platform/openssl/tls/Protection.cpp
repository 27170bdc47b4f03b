#include "platform/openssl/tls/Protection.h"

#include "platform/openssl/tls/Statuses.h"
#include <cstddef>
#include <span>

namespace VexaSsl::openssl {
namespace {

// Limits on consecutive records without effect, the same as in OpenSSL.
constexpr unsigned emptyRecordLimit = 32;
constexpr unsigned warningLimit = 4;

enum class AlertLevel : unsigned char { warning = 1, fatal = 2 };
constexpr std::size_t alertSize = 2;

SECURITY_STATUS closeByPeer(TlsConnection& context) noexcept {
    Stage expected = Stage::established; // a failure of the other direction is kept
    context.stage.compare_exchange_strong(expected, Stage::closed);
    return SEC_I_CONTEXT_EXPIRED;
}

SECURITY_STATUS handleWarning(TlsConnection& context, int description) noexcept {
    if (description == SSL_AD_CLOSE_NOTIFY) {
        return closeByPeer(context);
    }
    // no_renegotiation answers a HelloRequest or ClientHello, which we don't send here.
    if (description == SSL_AD_NO_RENEGOTIATION || ++context.warnings > warningLimit) {
        return context.failAndWipeKeys(SEC_E_ILLEGAL_MESSAGE);
    }
    return SEC_E_OK;
}

SECURITY_STATUS handleAlert(TlsConnection& context, ByteView alert) noexcept {
    if (alert.size() != alertSize) {
        return context.failAndWipeKeys(SEC_E_ILLEGAL_MESSAGE);
    }
    const int description = alert[1];
    switch (static_cast<AlertLevel>(alert[0])) {
    case AlertLevel::fatal:
        return context.failAndWipeKeys(statusOfAlert(description));
    case AlertLevel::warning:
        return handleWarning(context, description);
    }
    return context.failAndWipeKeys(SEC_E_ILLEGAL_MESSAGE);
}

// Only a renegotiation request is recognised: HelloRequest, or a client's ClientHello.
SECURITY_STATUS handleHandshake(TlsConnection& context, ByteView message) noexcept {
    const bool isRenegotiationRequest =
        message[0] == SSL3_MT_HELLO_REQUEST ||
        (message[0] == SSL3_MT_CLIENT_HELLO && context.role == Role::server);
    return isRenegotiationRequest ? SEC_I_RENEGOTIATE
                                  : context.failAndWipeKeys(SEC_E_ILLEGAL_MESSAGE);
}

// Handles authenticated content. Only application data may be empty.
SECURITY_STATUS handleContent(TlsConnection& context, ContentType type, ByteView content) noexcept {
    if (content.empty()) {
        const bool isAllowed =
            type == ContentType::applicationData && ++context.emptyRecords <= emptyRecordLimit;
        return isAllowed ? SEC_E_OK : context.failAndWipeKeys(SEC_E_ILLEGAL_MESSAGE);
    }
    context.emptyRecords = 0;
    if (type == ContentType::alert) {
        return handleAlert(context, content);
    }
    context.warnings = 0;
    switch (type) {
    case ContentType::applicationData:
        return SEC_E_OK;
    case ContentType::handshake:
        return handleHandshake(context, content);
    case ContentType::alert:
    case ContentType::changeCipherSpec:
        break;
    }
    return context.failAndWipeKeys(SEC_E_ILLEGAL_MESSAGE);
}

SECURITY_STATUS statusOf(RecordOpener::Outcome outcome) noexcept {
    switch (outcome) {
    case RecordOpener::Outcome::altered:
        return SEC_E_MESSAGE_ALTERED;
    case RecordOpener::Outcome::illegal:
        return SEC_E_ILLEGAL_MESSAGE;
    case RecordOpener::Outcome::failed:
    case RecordOpener::Outcome::opened:
        break;
    }
    return SEC_E_INTERNAL_ERROR;
}

} // namespace

SECURITY_STATUS sealRecord(TlsConnection& context, RecordSealer::Area header,
                           RecordSealer::Area data, RecordSealer::Area trailer) noexcept {
    if (context.sealer->seal(ContentType::applicationData, header, data, trailer)) {
        return SEC_E_OK;
    }
    context.sealer.reset();
    return context.fail(SEC_E_ENCRYPT_FAILURE);
}

SECURITY_STATUS openRecord(TlsConnection& context, std::span<unsigned char> record,
                           std::span<unsigned char>& plaintext) noexcept {
    const auto type = static_cast<ContentType>(record[0]);
    context.decodedPeer = {};
    std::span<unsigned char> content;
    const RecordOpener::Outcome outcome = context.opener->open(record, content);
    if (outcome != RecordOpener::Outcome::opened) {
        return context.failAndWipeKeys(statusOf(outcome));
    }
    const SECURITY_STATUS status = handleContent(context, type, content);
    if (status == SEC_E_OK) {
        plaintext = type == ContentType::applicationData ? content : content.first(0);
    }
    return status;
}

} // namespace VexaSsl::openssl
