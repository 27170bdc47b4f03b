// Reads a named section of a 64-bit ELF file. The file isn't trusted: a malformed one has no
// sections. Any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace VexaSsl::linux {

// Returns the bytes of the first section of that name; empty when the file can't be read or isn't
// such a file, when it has no such section, and when the section is larger than limit.
std::string readSection(const char* path, std::string_view name, std::size_t limit);

} // namespace VexaSsl::linux
