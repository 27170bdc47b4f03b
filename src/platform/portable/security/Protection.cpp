#include "security/Protection.h"

#include "security/Statuses.h"

#include <algorithm>

namespace VexaSsl::portable {
namespace {

// While this lives, OpenSSL takes its own side for closed: it opens and checks whatever comes, but
// answers nothing. So a peer that asks for a new handshake is neither obeyed nor refused with an
// alert, which would need a place to go and would put the records that we send out of sequence.
class MutedSide {
public:
    explicit MutedSide(SSL* connection) noexcept : ssl(connection) {
        SSL_set_shutdown(ssl, SSL_SENT_SHUTDOWN);
    }
    ~MutedSide() { SSL_set_shutdown(ssl, 0); }
    MutedSide(const MutedSide&) = delete;
    MutedSide& operator=(const MutedSide&) = delete;

private:
    SSL* ssl;
};

// What a record that gave no plaintext was. An empty one and a warning count as no data.
SECURITY_STATUS statusWithoutData(ContentType type) {
    return type == ContentType::handshake ? SEC_I_RENEGOTIATE : SEC_E_OK;
}

// Must be asked while the side is muted: the note of a closure is part of what muting sets.
SECURITY_STATUS statusOfRead(TlsConnection& context, ContentType type, int result) {
    switch (SSL_get_error(context.ssl.get(), result)) {
    case SSL_ERROR_NONE:
        return SEC_E_OK;
    case SSL_ERROR_WANT_READ:
        return statusWithoutData(type);
    case SSL_ERROR_ZERO_RETURN:
        context.stage = Stage::closed;
        return SEC_I_CONTEXT_EXPIRED;
    default:
        return context.fail(statusOfFailure(context.ssl.get()));
    }
}

} // namespace

SECURITY_STATUS protectRecord(TlsConnection& context, RecordAreas::Area header,
                              RecordAreas::Area data, RecordAreas::Area trailer) {
    // OpenSSL takes the plaintext into a buffer of its own before anything is written.
    RecordAreas areas(header, data, trailer);
    context.wire.writeTo(&areas);
    const int result = SSL_write(context.ssl.get(), data.data(), static_cast<int>(data.size()));
    context.wire.writeTo(nullptr);
    if (result == static_cast<int>(data.size()) && areas.full())
        return SEC_E_OK;
    const SECURITY_STATUS status = statusOfFailure(context.ssl.get());
    const bool outOfMemory = status == SEC_E_INSUFFICIENT_MEMORY;
    return context.fail(outOfMemory ? status : SEC_E_ENCRYPT_FAILURE);
}

SECURITY_STATUS openRecord(TlsConnection& context, std::span<unsigned char> record,
                           std::span<unsigned char>& plaintext) {
    SSL* ssl = context.ssl.get();
    const auto type = static_cast<ContentType>(record[0]);
    // The record is read as a whole before its plaintext comes out, so both may share the place.
    // One that is too short to be authentic still needs a place.
    const std::size_t ahead = std::min(context.shape.headerSize, record.size() - 1);
    const std::span<unsigned char> place = record.subspan(ahead);
    context.wire.feed(record);
    const MutedSide muted(ssl);
    const int result = SSL_read(ssl, place.data(), static_cast<int>(place.size()));
    context.wire.feed({});
    const SECURITY_STATUS status = statusOfRead(context, type, result);
    if (status == SEC_E_OK)
        plaintext = place.first(result > 0 ? static_cast<std::size_t>(result) : 0);
    return status;
}

} // namespace VexaSsl::portable
