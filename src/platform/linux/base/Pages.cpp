#include "platform/contract/Pages.h"

#include <sys/mman.h>

#include <cstddef>

namespace VexaSsl::platform {

void* mapPages(std::size_t size) noexcept {
    void* const pages =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) {
        return nullptr;
    }
    ::madvise(pages, size, MADV_NOHUGEPAGE); // a huge page is there as a whole once a byte is used
    return pages;
}

void unmapPages(void* pages, std::size_t size) noexcept {
    ::munmap(pages, size);
}

} // namespace VexaSsl::platform
