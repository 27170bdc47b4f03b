// Reads a named section of a 64-bit ELF file, which may be any file: what doesn't fit together has
// no section. Any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace VexaSsl::linux {

// Result: the bytes of the first section of that name; empty when the file can't be read, is no
// such file, has no such section, or one that is larger than limit.
std::string readSection(const char* path, std::string_view name, std::size_t limit);

} // namespace VexaSsl::linux
