// Finds TLS records in a sequence of bytes by their headers. Any thread.
#pragma once

#include <cstddef>
#include <span>

namespace VexaSsl::openssl {

using ByteView = std::span<const unsigned char>;

inline constexpr std::size_t recordHeaderSize = 5;
// The largest payload of a record: 2^14 bytes of plaintext and the expansion by the cipher.
inline constexpr std::size_t recordPayloadLimit = (1U << 14) + 2048;

// The content types of TLS 1.2, the first byte of a record.
enum class ContentType : unsigned char {
    changeCipherSpec = 20,
    alert = 21,
    handshake = 22,
    applicationData = 23,
};

enum class Boundary {
    whole,   // size is the record's, header included
    partial, // missing more bytes complete the header or, after a whole header, the record
    notTls,  // not the beginning of a TLS record; detected at the first wrong byte
};

struct RecordExtent {
    Boundary boundary = Boundary::notTls;
    std::size_t size = 0;
    std::size_t missing = 0;
};

// Returns the extent of the first record. Without any bytes, a header is missing.
RecordExtent firstRecord(ByteView bytes) noexcept;

// Returns the extent of the last record, or of the first one that isn't TLS.
RecordExtent lastRecord(ByteView bytes) noexcept;

} // namespace VexaSsl::openssl
