// Reads files whose type and size are not trusted: opening doesn't wait for a FIFO's writer, and no
// read exceeds its limit. Any thread.
#pragma once

#include "platform/linux/base/Descriptor.h"

#include <cstddef>
#include <string>

namespace VexaSsl::linux {

// Opens path close-on-exec. Returns an empty Descriptor on failure, with the cause in errno.
Descriptor openForReading(const char* path) noexcept;

// Reads size bytes, or fewer if the file ends first. Returns false when read fails; filled counts
// the bytes in either case.
bool readUpTo(int descriptor, void* buffer, std::size_t size, std::size_t& filled) noexcept;

// Returns the first limit bytes of the file; empty when it can't be read.
std::string readText(const char* path, std::size_t limit);

} // namespace VexaSsl::linux
