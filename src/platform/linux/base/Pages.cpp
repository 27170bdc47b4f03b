#include "platform/contract/Pages.h"

#include <sys/mman.h>

namespace VexaSsl::platform {

void* mapPages(std::size_t size) noexcept {
    void* const pages =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return pages == MAP_FAILED ? nullptr : pages;
}

void unmapPages(void* pages, std::size_t size) noexcept {
    ::munmap(pages, size);
}

} // namespace VexaSsl::platform
