#include "platform/contract/SecuritySupport.h"

#include "platform/openssl/tls/PackageCall.h"
#include "platform/openssl/tls/Protection.h"
#include "platform/openssl/tls/SecurityBuffers.h"
#include "platform/openssl/tls/SecurityHandles.h"
#include <cstddef>
#include <memory>
#include <mutex>
#include <span>

namespace VexaSsl {
namespace {

using namespace openssl;

// The entries that DecryptMessage returns.
constexpr std::size_t headerEntry = 0;
constexpr std::size_t dataEntry = 1;
constexpr std::size_t trailerEntry = 2;
constexpr std::size_t extraEntry = 3;
constexpr std::size_t entryCount = 4;

SECURITY_STATUS sealStatus(const TlsConnection& context) {
    const Stage stage = context.stage;
    if (stage == Stage::negotiating) {
        return SEC_E_INVALID_HANDLE;
    }
    return stage == Stage::failed ? context.failure.load() : SEC_E_OK;
}

SECURITY_STATUS seal(TlsConnection& context, SecBufferDesc* message) {
    if (const SECURITY_STATUS status = sealStatus(context); status != SEC_E_OK) {
        return status;
    }
    SecBuffer* header = findEntry(message, SECBUFFER_STREAM_HEADER);
    SecBuffer* data = findEntry(message, SECBUFFER_DATA);
    SecBuffer* trailer = findEntry(message, SECBUFFER_STREAM_TRAILER);
    if (!header || !data || !trailer || data->cbBuffer > context.shape.maximumMessage) {
        return SEC_E_INVALID_TOKEN;
    }
    if (data->cbBuffer == 0) {
        return SEC_E_UNSUPPORTED_FUNCTION;
    }
    const auto headerArea = bytesOf(*header);
    const auto trailerArea = bytesOf(*trailer);
    const RecordShape& shape = context.shape;
    if (headerArea.size() < shape.headerSize || trailerArea.size() < shape.trailerSize) {
        return SEC_E_BUFFER_TOO_SMALL;
    }
    const SECURITY_STATUS status = sealRecord(context, headerArea.first(shape.headerSize),
                                              bytesOf(*data), trailerArea.first(shape.trailerSize));
    if (status == SEC_E_OK) {
        header->cbBuffer = static_cast<ULONG>(shape.headerSize);
        trailer->cbBuffer = static_cast<ULONG>(shape.trailerSize);
    }
    return status;
}

// A failure has been reported with its own status. From then on the stream has ended, as after a
// closure: a caller that continues after a failure must not be kept by a peer that sends junk.
SECURITY_STATUS openStatus(const TlsConnection& context) {
    switch (context.stage.load()) {
    case Stage::negotiating:
        return SEC_E_INVALID_HANDLE;
    case Stage::established:
        return SEC_E_OK;
    case Stage::failed:
    case Stage::closed:
        break;
    }
    return SEC_I_CONTEXT_EXPIRED;
}

// Rewrites the entries: header, data and trailer of the record, and the bytes that follow it.
void setRecordEntries(std::span<SecBuffer> entries, std::span<unsigned char> record,
                      std::span<unsigned char> plaintext, std::span<unsigned char> extra) {
    const std::size_t prefixSize = static_cast<std::size_t>(plaintext.data() - record.data());
    const std::span<unsigned char> trailer = record.subspan(prefixSize + plaintext.size());
    setEntry(entries[headerEntry], SECBUFFER_STREAM_HEADER, prefixSize, record.data());
    setEntry(entries[dataEntry], SECBUFFER_DATA, plaintext.size(), plaintext.data());
    setEntry(entries[trailerEntry], SECBUFFER_STREAM_TRAILER, trailer.size(), trailer.data());
    if (extra.empty()) {
        setEntry(entries[extraEntry], SECBUFFER_EMPTY, 0, nullptr);
    } else {
        setEntry(entries[extraEntry], SECBUFFER_EXTRA, extra.size(), extra.data());
    }
}

SECURITY_STATUS open(TlsConnection& context, SecBufferDesc* message) {
    if (const SECURITY_STATUS status = openStatus(context); status != SEC_E_OK) {
        return status;
    }
    const std::span<SecBuffer> entries = entriesOf(message);
    const SecBuffer* data = findEntry(message, SECBUFFER_DATA);
    if (entries.size() < entryCount || !data) {
        return SEC_E_INVALID_TOKEN;
    }
    const std::span<unsigned char> bytes = bytesOf(*data);
    const RecordExtent extent = firstRecord(bytes);
    if (extent.boundary == Boundary::notTls) {
        return context.failAndWipeKeys(SEC_E_INVALID_TOKEN);
    }
    if (extent.boundary == Boundary::partial) {
        setEmptyEntry(message, SECBUFFER_MISSING, extent.missing, nullptr);
        return SEC_E_INCOMPLETE_MESSAGE;
    }
    const std::span<unsigned char> record = bytes.first(extent.size);
    std::span<unsigned char> plaintext;
    const SECURITY_STATUS status = openRecord(context, record, plaintext);
    if (status == SEC_E_OK) {
        setRecordEntries(entries, record, plaintext, bytes.subspan(extent.size));
    }
    return status;
}

// Calls operation on the context with the mutex of its direction held.
template <class Operation>
SECURITY_STATUS callWithLock(CtxtHandle* handle, std::mutex TlsConnection::*directionMutex,
                             Operation operation) {
    return recordCall([&]() -> SECURITY_STATUS {
        const std::shared_ptr<TlsConnection> context = objectOf<TlsConnection>(handle);
        if (!context) {
            return SEC_E_INVALID_HANDLE;
        }
        const std::lock_guard lock((*context).*directionMutex);
        return operation(*context);
    });
}

} // namespace

SECURITY_STATUS platform::EncryptMessage(CtxtHandle* context, ULONG, SecBufferDesc* message,
                                         ULONG) {
    return callWithLock(context, &TlsConnection::sendMutex,
                        [message](TlsConnection& found) { return seal(found, message); });
}

SECURITY_STATUS platform::DecryptMessage(CtxtHandle* context, SecBufferDesc* message, ULONG,
                                         ULONG* qualityOfProtection) {
    if (qualityOfProtection) {
        *qualityOfProtection = 0;
    }
    return callWithLock(context, &TlsConnection::mutex,
                        [message](TlsConnection& found) { return open(found, message); });
}

} // namespace VexaSsl
