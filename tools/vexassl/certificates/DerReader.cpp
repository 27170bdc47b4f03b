#include "certificates/DerReader.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

namespace {

// Removes the length from the front. Returns nothing for an invalid one, or beyond 4 bytes.
std::optional<std::size_t> takeLength(DerBytes& bytes) {
    if (bytes.empty()) {
        return std::nullopt;
    }
    const BYTE first = bytes.front();
    bytes = bytes.subspan(1);
    if (first < 0x80) {
        return first;
    }
    const std::size_t count = first & 0x7FU;
    if (count == 0 || count > 4 || count > bytes.size()) {
        return std::nullopt;
    }
    std::size_t length = 0;
    for (const BYTE byte : bytes.first(count)) {
        length = length << 8 | byte;
    }
    bytes = bytes.subspan(count);
    return length;
}

} // namespace

std::optional<DerElement> DerReader::next() {
    if (rest.empty()) {
        return std::nullopt;
    }
    DerElement element{rest.front(), {}};
    rest = rest.subspan(1);
    const std::optional<std::size_t> length = takeLength(rest);
    if (!length || *length > rest.size()) {
        rest = {};
        return std::nullopt;
    }
    element.content = rest.first(*length);
    rest = rest.subspan(*length);
    return element;
}

DerBytes DerReader::next(BYTE tag) {
    const std::optional<DerElement> element = next();
    return element && element->tag == tag ? element->content : DerBytes();
}

std::string dottedIdentifier(DerBytes content) {
    std::string text;
    std::uint64_t arc = 0;
    bool isWhole = true;
    for (const BYTE byte : content) {
        if (arc > UINT64_MAX >> 7) {
            return {};
        }
        arc = arc << 7 | (byte & 0x7FU);
        isWhole = byte < 0x80;
        if (!isWhole) {
            continue;
        }
        if (text.empty()) { // the first two arcs share a number
            const std::uint64_t top = arc < 80 ? arc / 40 : 2;
            text = std::to_string(top) + "." + std::to_string(arc - top * 40);
        } else {
            text += "." + std::to_string(arc);
        }
        arc = 0;
    }
    return isWhole ? text : std::string();
}

std::string hexadecimal(DerBytes bytes) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (const BYTE byte : bytes) {
        text += {digits[byte >> 4], digits[byte & 0xF]};
    }
    return text;
}

unsigned bitCount(DerBytes integer) {
    while (!integer.empty() && integer.front() == 0) {
        integer = integer.subspan(1);
    }
    if (integer.empty()) {
        return 0;
    }
    const auto wholeBytes = static_cast<unsigned>(integer.size() - 1);
    return wholeBytes * 8 + static_cast<unsigned>(std::bit_width(unsigned{integer.front()}));
}

} // namespace VexaSsl::tool
