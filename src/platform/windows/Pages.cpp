#include "platform/contract/Pages.h"

#include <windows.h>

#include <cstddef>

namespace VexaSsl::platform {

void* mapPages(std::size_t size) noexcept {
    return ::VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void unmapPages(void* pages, std::size_t) noexcept {
    ::VirtualFree(pages, 0, MEM_RELEASE);
}

} // namespace VexaSsl::platform
