// Counts the allocations of the unit tests.
#pragma once

namespace VexaSsl::test {

// Returns how often the calling thread has called operator new.
long allocations() noexcept;

} // namespace VexaSsl::test
