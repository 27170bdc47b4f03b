// Contract: memory in whole pages. Any thread may call either function.
#pragma once

#include <cstddef>

namespace VexaSsl::platform {

// Returns size bytes of zeros, which take memory only where they are used; null when there is none.
// size is not 0.
void* mapPages(std::size_t size) noexcept;
// pages and size are a result of mapPages and its argument.
void unmapPages(void* pages, std::size_t size) noexcept;

} // namespace VexaSsl::platform
