// Moving whole records between buffers, fast on every processor. Any thread.
#pragma once

#include "secure/WipingAllocator.h"

#include <cstddef>

namespace VexaSsl {

// Copies size bytes; the two places don't overlap.
void copyBytes(const char* data, std::size_t size, char* destination) noexcept;

// Adds size bytes of somewhere else at the end of bytes, as inserting them would, with the same
// growth. (Into a vector with an allocator of its own the standard library inserts byte by byte,
// which takes longer than deciphering the bytes.) Throws std::bad_alloc, with bytes unchanged.
void appendBytes(WipedBytes& bytes, const char* data, std::size_t size);

} // namespace VexaSsl
