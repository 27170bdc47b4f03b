// Copies of whole records, fast on every processor. Any thread.
#pragma once

#include "secure/WipingAllocator.h"

#include <cstddef>

namespace VexaSsl {

// Copies size bytes. data and destination must not overlap.
void copyBytes(const char* data, std::size_t size, char* destination) noexcept;

// Appends size bytes, which are not part of bytes. (Into a vector with an allocator of its own the
// standard library inserts byte by byte, which takes longer than decrypting.) Throws std::bad_alloc
// with bytes unchanged.
void appendBytes(WipedBytes& bytes, const char* data, std::size_t size);

} // namespace VexaSsl
