// SecureSocketRecord: encryption and decryption of records. Never touches the socket.
#include "frame/DecimalText.h"
#include "frame/ErrorText.h"
#include "secure/ByteCopy.h"
#include "secure/LogTexts.h"
#include "secure/SecureSocketRecord.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <utility>

namespace VexaSsl {

namespace {

using RecordBuffers = std::array<SecBuffer, 4>; // as many as the package uses

SecBuffer bufferOf(ULONG type, DWORD size, void* data) {
    SecBuffer buffer{};
    buffer.cbBuffer = size;
    buffer.BufferType = type;
    buffer.pvBuffer = data;
    return buffer;
}

SecBufferDesc descriptionOf(RecordBuffers& buffers) {
    SecBufferDesc description{};
    description.ulVersion = SECBUFFER_VERSION;
    description.cBuffers = static_cast<ULONG>(buffers.size());
    description.pBuffers = buffers.data();
    return description;
}

} // namespace

SECURITY_STATUS SecureSocketRecord::encryptRecord(const char* data, DWORD length, char* output,
                                                  DWORD& outputSize) {
    outputSize = 0;
    const DWORD headerSize = streamSizes->headerSize;
    const DWORD trailerSize = streamSizes->trailerSize;
    char* const message = output + headerSize;
    copyBytes(data, length, message);
    RecordBuffers buffers = {bufferOf(SECBUFFER_STREAM_HEADER, headerSize, output),
                             bufferOf(SECBUFFER_DATA, length, message),
                             bufferOf(SECBUFFER_STREAM_TRAILER, trailerSize, message + length),
                             bufferOf(SECBUFFER_EMPTY, 0, nullptr)};
    SecBufferDesc description = descriptionOf(buffers);
    const SECURITY_STATUS status =
        platform::EncryptMessage(securityContext.address(), 0, &description, 0);
    if (status != SEC_E_OK) {
        logSystemError(log, LogTexts::encryption, static_cast<DWORD>(status));
        return status;
    }
    // A trailer that came back shorter leaves no gap, since it is at the end of the record.
    const DWORD used = buffers[2].cbBuffer;
    outputSize = headerSize + length + used;
    if (trailerSize != used) {
        log.log(Severity::Debug, L"EncryptMessage stripped [" +
                                     std::to_wstring(trailerSize - used) +
                                     L"] bytes of trailer padding");
    }
    return status;
}

SECURITY_STATUS SecureSocketRecord::decryptRecord(char* data, DWORD size, DWORD& missing) {
    missing = 0;
    RecordBuffers buffers = {bufferOf(SECBUFFER_DATA, size, data)};
    SecBufferDesc description = descriptionOf(buffers);
    const SECURITY_STATUS status =
        platform::DecryptMessage(securityContext.address(), &description, 0, nullptr);
    switch (status) {
    case SEC_E_OK:
        for (const SecBuffer& buffer : buffers) {
            takeDecrypted(buffer, data + size);
        }
        break;
    case SEC_E_INCOMPLETE_MESSAGE: {
        incompleteRecord = true;
        const auto lacking = std::find_if(buffers.begin(), buffers.end(), [](const SecBuffer& b) {
            return b.BufferType == SECBUFFER_MISSING;
        });
        missing = lacking == buffers.end() ? 0 : lacking->cbBuffer;
        break;
    }
    case SEC_I_RENEGOTIATE:
        // Not answered, and plaintext that came with the request is dropped.
        log.log(Severity::Info, LogTexts::renegotiationRequest);
        break;
    case SEC_E_INVALID_TOKEN:
        // Compatibility: silent-invalid-token
        break;
    default:
        // SEC_I_CONTEXT_EXPIRED, the peer's closure, too. Compatibility: closure-is-an-error
        logSystemError(log, LogTexts::decryption, static_cast<DWORD>(status));
        break;
    }
    return status;
}

void SecureSocketRecord::takeDecrypted(const SecBuffer& buffer, const char* end) {
    if (buffer.BufferType == SECBUFFER_DATA) {
        appendBytes(plainBytes, static_cast<const char*>(buffer.pvBuffer), buffer.cbBuffer);
    } else if (buffer.BufferType == SECBUFFER_EXTRA) {
        log.log(Severity::Debug, lineAround(L"Found [", buffer.cbBuffer, L"] extra useful bytes"));
        // Only the size is used: not every package sets the pointer.
        cipherBytes.clear();
        appendBytes(cipherBytes, end - buffer.cbBuffer, buffer.cbBuffer);
    }
}

SECURITY_STATUS SecureSocketRecord::decryptAvailable(DWORD wanted, DWORD& gained) {
    gained = 0;
    while (gained < wanted) {
        if (cipherBytes.empty() || incompleteRecord) {
            return SEC_E_OK;
        }
        // Moved out first: decryption overwrites them and appends what follows the record to
        // cipherBytes.
        WipedBytes taken = std::exchange(cipherBytes, {});
        const std::size_t before = plainBytes.size();
        DWORD missing = 0;
        const SECURITY_STATUS status =
            decryptRecord(taken.data(), static_cast<DWORD>(taken.size()), missing);
        if (status == SEC_E_INCOMPLETE_MESSAGE) {
            cipherBytes = std::move(taken);
        }
        if (status != SEC_E_OK) {
            return status; // a failure loses all ciphertext held
        }
        gained += static_cast<DWORD>(plainBytes.size() - before);
    }
    return SEC_E_OK;
}

DWORD SecureSocketRecord::consumePlain(char* buffer, DWORD length) {
    const DWORD count = copyPlain(buffer, length);
    if (count < plainBytes.size()) {
        WipedBytes rest;
        appendBytes(rest, plainBytes.data() + count, plainBytes.size() - count);
        plainBytes = std::move(rest);
    } else {
        plainBytes.clear();
    }
    return count;
}

SECURITY_STATUS SecureSocketRecord::readPlain(char* buffer, DWORD length, bool peek,
                                              DWORD& delivered) {
    delivered = 0;
    SECURITY_STATUS status = SEC_E_OK;
    if (length > plainBytes.size()) {
        DWORD gained = 0;
        status = decryptAvailable(length - static_cast<DWORD>(plainBytes.size()), gained);
    }
    if (status != SEC_E_OK && status != SEC_E_INCOMPLETE_MESSAGE) {
        return status;
    }
    delivered = peek ? copyPlain(buffer, length) : consumePlain(buffer, length);
    return status;
}

DWORD SecureSocketRecord::copyPlain(char* buffer, DWORD length) const {
    const std::size_t count = std::min<std::size_t>(length, plainBytes.size());
    copyBytes(plainBytes.data(), count, buffer);
    return static_cast<DWORD>(count);
}

void SecureSocketRecord::appendCipher(const char* data, DWORD length) {
    appendBytes(cipherBytes, data, length);
    if (length != 0) {
        incompleteRecord = false;
    }
}

} // namespace VexaSsl
