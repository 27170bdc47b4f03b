// Contract: memory in whole pages. Any thread may call either function.
#pragma once

#include <cstddef>

namespace VexaSsl::platform {

// Returns size zero bytes, or null without memory. Pages that are never used take none.
// size is not 0.
void* mapPages(std::size_t size) noexcept;
// pages and size are a result of mapPages and its argument.
void unmapPages(void* pages, std::size_t size) noexcept;

} // namespace VexaSsl::platform
