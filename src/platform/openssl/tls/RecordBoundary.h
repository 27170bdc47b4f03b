// Where TLS records begin and end in a run of bytes, told by their headers alone. Stateless.
#pragma once

#include <cstddef>
#include <span>

namespace VexaSsl::openssl {

using ByteView = std::span<const unsigned char>;

inline constexpr std::size_t recordHeaderSize = 5;
// The most that may follow a header: 2^14 bytes of plaintext and what a cipher may add.
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
    partial, // missing more bytes are needed to finish the header or, when it is there, the record
    notTls,  // no TLS record begins like this; told from the first byte that shows it
};

struct RecordExtent {
    Boundary boundary = Boundary::notTls;
    std::size_t size = 0;
    std::size_t missing = 0;
};

// The record that bytes begin with. Of no bytes at all a header is missing.
RecordExtent firstRecord(ByteView bytes) noexcept;

// The verdict on the last record of bytes, or on the first one that is no TLS record.
RecordExtent lastRecord(ByteView bytes) noexcept;

} // namespace VexaSsl::openssl
