#include "unit/Allocations.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local long allocationsOfThread = 0;

} // namespace

long VexaSsl::test::allocations() noexcept {
    return allocationsOfThread;
}

void* operator new(std::size_t size) {
    ++allocationsOfThread;
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
