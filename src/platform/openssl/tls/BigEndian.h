// Numbers in the byte order of the protocol: the most significant byte first.
#pragma once

#include "platform/openssl/tls/RecordBoundary.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace VexaSsl::openssl {

// Of at most eight bytes.
inline std::uint64_t readBigEndian(ByteView place) noexcept {
    std::uint64_t number = 0;
    for (const unsigned char byte : place) {
        number = number << 8 | byte;
    }
    return number;
}

// As many of the number's lower bytes as the place has.
inline void writeBigEndian(std::span<unsigned char> place, std::uint64_t number) noexcept {
    for (std::size_t i = place.size(); i > 0; --i, number >>= 8) {
        place[i - 1] = static_cast<unsigned char>(number);
    }
}

} // namespace VexaSsl::openssl
