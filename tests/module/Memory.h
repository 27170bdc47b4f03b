// The memory and handles of the process. One source for each system.
#pragma once

#include <cstddef>

namespace VexaSsl::test {

// Returns the private memory of the process in bytes, without what its allocator could return.
std::size_t memoryInUse();

// Returns the number of the next handle. It grows with leaked handles, since the system uses the
// lowest free number.
std::size_t nextHandle();

} // namespace VexaSsl::test
