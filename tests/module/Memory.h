// How much memory the process holds. One source a system.
#pragma once

#include <cstddef>

namespace VexaSsl::test {

// Bytes that belong to the process alone, what its allocator could give back not counted where that
// can be told.
std::size_t memoryInUse();

} // namespace VexaSsl::test
