// Reads small files that may turn out to be anything: never waits for a pipe, never reads more than
// asked for. Any thread.
#pragma once

#include "platform/linux/base/Descriptor.h"

#include <cstddef>
#include <string>

namespace VexaSsl::linux {

// Returns a descriptor that child processes don't inherit, or an empty one with the cause in errno.
Descriptor openForReading(const char* path) noexcept;

// Reads until size bytes are there or the file ends. Returns false when reading failed; filled
// counts the bytes in either case.
bool readUpTo(int descriptor, void* buffer, std::size_t size, std::size_t& filled) noexcept;

// The first limit bytes of the file; empty when it can't be read.
std::string readText(const char* path, std::size_t limit);

} // namespace VexaSsl::linux
