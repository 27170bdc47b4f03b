// Reads DER one element at a time. The bytes are taken as hostile and are borrowed.
//
// Plain values; any thread.
#pragma once

#include "platform/contract/WindowsBase.h"

#include <optional>
#include <span>
#include <string>

namespace VexaSsl::tool {

using DerBytes = std::span<const BYTE>;

struct DerElement {
    BYTE tag = 0;
    DerBytes content;
};

namespace DerTag {
constexpr BYTE integer = 0x02;
constexpr BYTE bitString = 0x03;
constexpr BYTE identifier = 0x06;
constexpr BYTE sequence = 0x30;
constexpr BYTE context0 = 0xA0; // constructed and specific to its context
} // namespace DerTag

class DerReader {
public:
    explicit DerReader(DerBytes bytes) : rest(bytes) {}

    // Returns the next element; nothing at the end and for invalid bytes, which end the reading.
    std::optional<DerElement> next();
    // Returns the content of the next element, empty unless it has this tag.
    DerBytes next(BYTE tag);

private:
    DerBytes rest;
};

// Returns "1.2.840", or an empty text for an invalid identifier.
std::string dottedIdentifier(DerBytes content);

std::string hexadecimal(DerBytes bytes);

// Returns the number of bits of a positive integer.
unsigned bitCount(DerBytes integer);

} // namespace VexaSsl::tool
