// Integers in network byte order. Any thread.
#pragma once

#include "platform/openssl/tls/RecordBoundary.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace VexaSsl::openssl {

// bytes: at most eight.
inline std::uint64_t readBigEndian(ByteView bytes) noexcept {
    std::uint64_t number = 0;
    for (const unsigned char byte : bytes) {
        number = number << 8 | byte;
    }
    return number;
}

// Writes the low bytes.size() bytes of number.
inline void writeBigEndian(std::span<unsigned char> bytes, std::uint64_t number) noexcept {
    for (std::size_t i = bytes.size(); i > 0; --i, number >>= 8) {
        bytes[i - 1] = static_cast<unsigned char>(number);
    }
}

} // namespace VexaSsl::openssl
