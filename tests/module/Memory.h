// What the process holds. One source a system.
#pragma once

#include <cstddef>

namespace VexaSsl::test {

// Bytes that belong to the process alone; what its allocator could give back isn't counted.
std::size_t memoryInUse();

// The number that the system gives the next handle. It grows with handles that are left behind,
// since numbers that are free come first.
std::size_t nextHandle();

} // namespace VexaSsl::test
