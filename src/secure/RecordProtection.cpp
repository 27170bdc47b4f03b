// SecureSocketRecord: encryption and decryption of records. Never touches the socket.
#include "frame/DecimalText.h"
#include "frame/ErrorText.h"
#include "secure/ByteCopy.h"
#include "secure/LogTexts.h"
#include "secure/ReceiveStatus.h"
#include "secure/SecureSocketRecord.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <span>
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

DWORD sizeOf(const RecordBuffers& buffers, ULONG type) {
    const auto found = std::find_if(buffers.begin(), buffers.end(),
                                    [type](const SecBuffer& b) { return b.BufferType == type; });
    return found == buffers.end() ? 0 : found->cbBuffer;
}

// Whether the output of DecryptMessage lies in its input of size bytes at data: the bytes that
// follow the record at the end, the plaintext before them in the order of the buffers. A record
// that is no part of the input would be decrypted without end.
bool isInside(const RecordBuffers& buffers, const char* data, DWORD size) {
    const DWORD extra = sizeOf(buffers, SECBUFFER_EXTRA);
    if (extra >= size) {
        return false;
    }
    const char* begin = data;
    const char* const end = data + (size - extra);
    return std::all_of(buffers.begin(), buffers.end(), [&](const SecBuffer& b) {
        if (b.BufferType != SECBUFFER_DATA || b.cbBuffer == 0) {
            return true;
        }
        const char* const plain = static_cast<const char*>(b.pvBuffer);
        if (plain < begin || b.cbBuffer > end - plain) {
            return false;
        }
        begin = plain + b.cbBuffer;
        return true;
    });
}

} // namespace

SECURITY_STATUS SecureSocketRecord::encryptRecord(const char* data, DWORD length, char* output,
                                                  DWORD& outputSize) {
    outputSize = 0;
    const DWORD headerSize = streamSizes->headerSize;
    const DWORD trailerSize = streamSizes->trailerSize;
    char* const message = output + headerSize;
    sendBuffer.use(headerSize + length + trailerSize);
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
    SECURITY_STATUS status =
        platform::DecryptMessage(securityContext.address(), &description, 0, nullptr);
    if (status == SEC_E_OK && !isInside(buffers, data, size)) {
        status = SEC_E_INTERNAL_ERROR;
    }
    switch (status) {
    case SEC_E_OK:
        for (const SecBuffer& buffer : buffers) {
            takeDecrypted(buffer, data + size);
        }
        break;
    case SEC_E_INCOMPLETE_MESSAGE:
        incompleteRecord = true;
        missing = sizeOf(buffers, SECBUFFER_MISSING);
        break;
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

void SecureSocketRecord::takeDecrypted(const SecBuffer& buffer, char* end) {
    if (buffer.BufferType == SECBUFFER_DATA && buffer.cbBuffer != 0) {
        received.appendPlain(static_cast<char*>(buffer.pvBuffer), buffer.cbBuffer);
    } else if (buffer.BufferType == SECBUFFER_EXTRA) {
        log.log(Severity::Debug, lineAround(L"Found [", buffer.cbBuffer, L"] extra useful bytes"));
        // Only the size is used: not every package sets the pointer.
        received.putBack({end - buffer.cbBuffer, buffer.cbBuffer});
    }
}

SECURITY_STATUS SecureSocketRecord::decryptAvailable(DWORD wanted, DWORD& gained) {
    gained = 0;
    while (gained < wanted) {
        if (heldFailure != SEC_E_OK) {
            return std::exchange(heldFailure, SEC_E_OK);
        }
        if (cipherBytes().empty() || incompleteRecord) {
            return SEC_E_OK;
        }
        const std::size_t before = plainBytes().size();
        const std::span<char> taken = received.takeCipher(); // a failure loses all of it
        DWORD missing = 0;
        const SECURITY_STATUS status =
            decryptRecord(taken.data(), static_cast<DWORD>(taken.size()), missing);
        if (status == SEC_E_INCOMPLETE_MESSAGE) {
            received.putBack(taken);
        }
        if (status != SEC_E_OK) {
            received.release();
            return status;
        }
        gained += static_cast<DWORD>(plainBytes().size() - before);
    }
    return SEC_E_OK;
}

void SecureSocketRecord::decryptHeld() {
    if (heldFailure != SEC_E_OK) {
        return;
    }
    try {
        DWORD gained = 0;
        const SECURITY_STATUS status = decryptAvailable(std::numeric_limits<DWORD>::max(), gained);
        heldFailure = isUsable(status) ? SEC_E_OK : status;
    } catch (...) {
        heldFailure = SEC_E_INSUFFICIENT_MEMORY; // bytes may be lost: nothing may follow them
        throw;
    }
}

DWORD SecureSocketRecord::consumePlain(char* buffer, DWORD length) {
    const DWORD count = copyPlain(buffer, length);
    received.consume(count);
    return count;
}

SECURITY_STATUS SecureSocketRecord::readPlain(char* buffer, DWORD length, bool peek,
                                              DWORD& delivered) {
    delivered = 0;
    SECURITY_STATUS status = SEC_E_OK;
    if (length > plainBytes().size()) {
        DWORD gained = 0;
        status = decryptAvailable(length - static_cast<DWORD>(plainBytes().size()), gained);
    }
    if (status != SEC_E_OK && status != SEC_E_INCOMPLETE_MESSAGE) {
        return status;
    }
    delivered = peek ? copyPlain(buffer, length) : consumePlain(buffer, length);
    return status;
}

DWORD SecureSocketRecord::copyPlain(char* buffer, DWORD length) const {
    const std::size_t count = std::min<std::size_t>(length, plainBytes().size());
    copyBytes(plainBytes().data(), count, buffer);
    return static_cast<DWORD>(count);
}

void SecureSocketRecord::appendCipher(const char* data, DWORD length) {
    if (length != 0) {
        received.append(data, length);
        incompleteRecord = false;
    }
}

void SecureSocketRecord::appendCipher(WipedBytes&& bytes, DWORD length) {
    received.append(std::move(bytes), length);
    incompleteRecord = false;
}

char* SecureSocketRecord::prepareRead() {
    received.keep(streamSizes->recordSize);
    return receiveBuffer.data();
}

void SecureSocketRecord::takeRead(DWORD length) {
    receiveBuffer.use(length);
    receiveBuffer.shrink(length);
    received.borrow(receiveBuffer.data(), length);
    incompleteRecord = false;
}

} // namespace VexaSsl
