// Copies of whole records, fast on every processor. Any thread.
#pragma once

#include <cstddef>

namespace VexaSsl {

// Copies size bytes. data and destination must not overlap.
void copyBytes(const char* data, std::size_t size, char* destination) noexcept;

} // namespace VexaSsl
