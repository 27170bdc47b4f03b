#include "platform/openssl/tls/Protection.h"

#include "platform/openssl/tls/Statuses.h"
#include <cstddef>
#include <span>

namespace VexaSsl::openssl {
namespace {

// A peer may send records that mean nothing, but not for ever. These are the limits of OpenSSL.
constexpr unsigned emptyRecordLimit = 32;
constexpr unsigned warningLimit = 4;

enum class AlertLevel : unsigned char { warning = 1, fatal = 2 };
constexpr std::size_t alertSize = 2;

SECURITY_STATUS closeByPeer(TlsConnection& context) noexcept {
    Stage before = Stage::established; // unless the other direction has failed meanwhile
    context.stage.compare_exchange_strong(before, Stage::closed);
    return SEC_I_CONTEXT_EXPIRED;
}

SECURITY_STATUS takeWarning(TlsConnection& context, int description) noexcept {
    if (description == SSL_AD_CLOSE_NOTIFY) {
        return closeByPeer(context);
    }
    // Nobody here asked for a new handshake that could be declined.
    if (description == SSL_AD_NO_RENEGOTIATION || ++context.warnings > warningLimit) {
        return context.failForgetting(SEC_E_ILLEGAL_MESSAGE);
    }
    return SEC_E_OK;
}

SECURITY_STATUS takeAlert(TlsConnection& context, ByteView alert) noexcept {
    if (alert.size() != alertSize) {
        return context.failForgetting(SEC_E_ILLEGAL_MESSAGE);
    }
    const int description = alert[1];
    switch (static_cast<AlertLevel>(alert[0])) {
    case AlertLevel::fatal:
        return context.failForgetting(statusOfAlert(description));
    case AlertLevel::warning:
        return takeWarning(context, description);
    }
    return context.failForgetting(SEC_E_ILLEGAL_MESSAGE);
}

// Of a handshake nothing but the wish for a new one has a meaning here: HelloRequest, or a client's
// ClientHello.
SECURITY_STATUS takeHandshake(TlsConnection& context, ByteView message) noexcept {
    const bool isWish = message[0] == SSL3_MT_HELLO_REQUEST ||
                        (message[0] == SSL3_MT_CLIENT_HELLO && context.role == Role::server);
    return isWish ? SEC_I_RENEGOTIATE : context.failForgetting(SEC_E_ILLEGAL_MESSAGE);
}

// What authentic content means. Only data may come without any byte.
SECURITY_STATUS takeContent(TlsConnection& context, ContentType type, ByteView content) noexcept {
    if (content.empty()) {
        const bool isTolerated =
            type == ContentType::applicationData && ++context.emptyRecords <= emptyRecordLimit;
        return isTolerated ? SEC_E_OK : context.failForgetting(SEC_E_ILLEGAL_MESSAGE);
    }
    context.emptyRecords = 0;
    if (type == ContentType::alert) {
        return takeAlert(context, content);
    }
    context.warnings = 0;
    switch (type) {
    case ContentType::applicationData:
        return SEC_E_OK;
    case ContentType::handshake:
        return takeHandshake(context, content);
    case ContentType::alert:
    case ContentType::changeCipherSpec:
        break;
    }
    return context.failForgetting(SEC_E_ILLEGAL_MESSAGE);
}

// What a record is told as that couldn't be opened.
SECURITY_STATUS statusOfUnopened(RecordOpener::Outcome outcome) noexcept {
    switch (outcome) {
    case RecordOpener::Outcome::altered:
        return SEC_E_MESSAGE_ALTERED;
    case RecordOpener::Outcome::illegal:
        return SEC_E_ILLEGAL_MESSAGE;
    case RecordOpener::Outcome::broken:
    case RecordOpener::Outcome::opened:
        break;
    }
    return SEC_E_INTERNAL_ERROR;
}

} // namespace

SECURITY_STATUS protectRecord(TlsConnection& context, RecordSealer::Area header,
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
        return context.failForgetting(statusOfUnopened(outcome));
    }
    const SECURITY_STATUS status = takeContent(context, type, content);
    if (status == SEC_E_OK) {
        plaintext = type == ContentType::applicationData ? content : content.first(0);
    }
    return status;
}

} // namespace VexaSsl::openssl
