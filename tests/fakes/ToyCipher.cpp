#include "fakes/ToyCipher.h"

#include "fakes/Secrets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <stdexcept>

namespace VexaSsl::test {

namespace {

constexpr DWORD headerLength = ToyCipher::headerSize;

void scramble(char* bytes, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<char>(bytes[i] ^ 0x55);
    }
}

void writeHeader(char* header, ToyCipher::Kind kind, DWORD trailer, std::size_t length) {
    header[0] = static_cast<char>(kind);
    header[1] = static_cast<char>(trailer);
    header[2] = static_cast<char>(length >> 8);
    header[3] = static_cast<char>(length & 0xFF);
}

DWORD byteAt(const char* bytes, std::size_t index) {
    return static_cast<unsigned char>(bytes[index]);
}

DWORD dataLength(const char* header) {
    return byteAt(header, 2) << 8 | byteAt(header, 3);
}

// The status of a whole record that isn't data; SEC_E_OK for data.
SECURITY_STATUS answerOf(char kind) {
    switch (static_cast<ToyCipher::Kind>(kind)) {
    case ToyCipher::Kind::Data:
        return SEC_E_OK;
    case ToyCipher::Kind::Closure:
        return SEC_I_CONTEXT_EXPIRED;
    case ToyCipher::Kind::Renegotiation:
        return SEC_I_RENEGOTIATE;
    case ToyCipher::Kind::Garbage:
        return SEC_E_INVALID_TOKEN;
    case ToyCipher::Kind::Altered:
        return SEC_E_MESSAGE_ALTERED;
    case ToyCipher::Kind::Exhausting:
        throw std::bad_alloc();
    case ToyCipher::Kind::Failing:
        throw std::runtime_error("toy");
    case ToyCipher::Kind::Odd:
        throw std::logic_error("odd");
    }
    ADD_FAILURE() << "ciphertext doesn't start at a record";
    return SEC_E_INVALID_TOKEN;
}

void expectShape(const SecBufferDesc* message, ULONG sequence) {
    EXPECT_EQ(message->ulVersion, SECBUFFER_VERSION);
    EXPECT_EQ(message->cBuffers, 4U);
    EXPECT_EQ(sequence, 0U);
}

void expectEmpty(const SecBuffer& buffer) {
    EXPECT_EQ(buffer.BufferType, SECBUFFER_EMPTY);
    EXPECT_EQ(buffer.cbBuffer, 0U);
    EXPECT_EQ(buffer.pvBuffer, nullptr);
}

} // namespace

void ToyCipher::install(ScriptedPlatform& platform) {
    platform.QueryContextAttributesW = [this, others = platform.QueryContextAttributesW](
                                           CtxtHandle* context, ULONG attribute, void* buffer) {
        return attribute == SECPKG_ATTR_STREAM_SIZES ? fillSizes(buffer)
                                                     : others(context, attribute, buffer);
    };
    platform.EncryptMessage = [this](CtxtHandle* context, ULONG quality, SecBufferDesc* message,
                                     ULONG sequence) {
        return encrypt(context, quality, message, sequence);
    };
    platform.DecryptMessage = [this](CtxtHandle* context, SecBufferDesc* message, ULONG sequence,
                                     ULONG* quality) {
        return decrypt(context, message, sequence, quality);
    };
}

std::string ToyCipher::seal(std::string_view plain, Kind kind) const {
    secrets::addContent(plain);
    std::string record(headerSize, '\0');
    writeHeader(record.data(), kind, usedTrailer, plain.size());
    record += plain;
    scramble(record.data() + headerSize, plain.size());
    return record + std::string(usedTrailer, '~');
}

std::string ToyCipher::open(std::string_view wire) const {
    std::string plain;
    while (!wire.empty()) {
        if (wire.size() < headerSize ||
            wire.size() < headerSize + dataLength(wire.data()) + byteAt(wire.data(), 1)) {
            ADD_FAILURE() << "not a whole record";
            break;
        }
        const DWORD length = dataLength(wire.data());
        const std::size_t start = plain.size();
        plain += wire.substr(headerSize, length);
        scramble(plain.data() + start, length);
        wire.remove_prefix(headerSize + length + byteAt(wire.data(), 1));
    }
    return plain;
}

SECURITY_STATUS ToyCipher::fillSizes(void* block) const {
    auto& sizes = *static_cast<SecPkgContext_StreamSizes*>(block);
    EXPECT_EQ(sizes.cbHeader, 0U) << "the block is zeroed";
    sizes.cbHeader = headerSize;
    sizes.cbTrailer = trailerSize;
    sizes.cbMaximumMessage = maximumMessageSize;
    return sizesStatus;
}

SECURITY_STATUS ToyCipher::encrypt(CtxtHandle* context, ULONG quality, SecBufferDesc* message,
                                   ULONG sequence) {
    ++encryptCalls;
    expectShape(message, sequence);
    EXPECT_NE(context, nullptr);
    EXPECT_EQ(quality, 0U);
    SecBuffer* const buffers = message->pBuffers;
    char* const header = static_cast<char*>(buffers[0].pvBuffer);
    EXPECT_EQ(buffers[0].BufferType, SECBUFFER_STREAM_HEADER);
    EXPECT_EQ(buffers[0].cbBuffer, headerSize);
    EXPECT_EQ(buffers[1].BufferType, SECBUFFER_DATA);
    EXPECT_EQ(buffers[1].pvBuffer, header + headerSize);
    EXPECT_LE(buffers[1].cbBuffer, maximumMessageSize);
    EXPECT_EQ(buffers[2].BufferType, SECBUFFER_STREAM_TRAILER);
    EXPECT_EQ(buffers[2].cbBuffer, trailerSize);
    EXPECT_EQ(buffers[2].pvBuffer, header + headerSize + buffers[1].cbBuffer);
    expectEmpty(buffers[3]);
    if (encryptStatus != SEC_E_OK) {
        return encryptStatus;
    }
    const DWORD length = buffers[1].cbBuffer;
    secrets::addContent({header + headerSize, length});
    writeHeader(header, Kind::Data, usedTrailer, length);
    scramble(header + headerSize, length);
    std::fill_n(header + headerSize + length, usedTrailer, '~');
    buffers[2].cbBuffer = usedTrailer;
    return SEC_E_OK;
}

void ToyCipher::arrange(SecBuffer* buffers) const {
    if (reversesBuffers) {
        std::reverse(buffers, buffers + 4);
    }
}

SECURITY_STATUS ToyCipher::reportMissing(SecBuffer* buffers, ULONG missing) const {
    if (reportsMissing) {
        buffers[1].BufferType = SECBUFFER_MISSING;
        buffers[1].cbBuffer = missing;
    }
    arrange(buffers);
    return SEC_E_INCOMPLETE_MESSAGE;
}

SECURITY_STATUS ToyCipher::decrypt(CtxtHandle* context, SecBufferDesc* message, ULONG sequence,
                                   ULONG* quality) {
    ++decryptCalls;
    expectShape(message, sequence);
    EXPECT_NE(context, nullptr);
    EXPECT_EQ(quality, nullptr);
    SecBuffer* const buffers = message->pBuffers;
    EXPECT_EQ(buffers[0].BufferType, SECBUFFER_DATA);
    expectEmpty(buffers[1]);
    expectEmpty(buffers[2]);
    expectEmpty(buffers[3]);
    const ULONG size = buffers[0].cbBuffer;
    char* const record = static_cast<char*>(buffers[0].pvBuffer);
    if (size < headerLength) {
        return reportMissing(buffers, headerLength - size);
    }
    const ULONG length = dataLength(record);
    const ULONG whole = headerLength + length + byteAt(record, 1);
    if (size < whole) {
        return reportMissing(buffers, whole - size);
    }
    const SECURITY_STATUS answer = answerOf(record[0]);
    scramble(record + headerLength, length);
    buffers[0] = {headerLength, SECBUFFER_STREAM_HEADER, record};
    buffers[1] = {length, SECBUFFER_DATA, record + headerLength};
    buffers[2] = {whole - headerLength - length, SECBUFFER_STREAM_TRAILER, nullptr};
    if (size > whole) {
        // The pointer is left out: only the size may be used.
        buffers[3] = {size - whole, SECBUFFER_EXTRA, nullptr};
    }
    arrange(buffers);
    return answer;
}

} // namespace VexaSsl::test
