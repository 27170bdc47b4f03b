#include "integration/memory/FreedMemory.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

std::atomic<const char*> sought = nullptr;
std::atomic<std::size_t> soughtSize = 0;
std::atomic<std::size_t> blocksFreed = 0;
std::atomic<std::size_t> tracesFound = 0;

void* give(std::size_t size) {
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    std::memset(memory, 0, malloc_usable_size(memory));
    return memory;
}

void take(void* memory) noexcept {
    const char* const bytes = sought;
    if (memory != nullptr && bytes != nullptr) {
        ++blocksFreed;
        if (memmem(memory, malloc_usable_size(memory), bytes, soughtSize) != nullptr) {
            ++tracesFound;
        }
    }
    std::free(memory);
}

} // namespace

void* operator new(std::size_t size) {
    return give(size);
}
void* operator new[](std::size_t size) {
    return give(size);
}
void operator delete(void* memory) noexcept {
    take(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    take(memory);
}
void operator delete[](void* memory) noexcept {
    take(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    take(memory);
}

namespace VexaSsl::test {

FreedMemoryWatch::FreedMemoryWatch(std::string_view bytes) {
    blocksFreed = 0;
    tracesFound = 0;
    soughtSize = bytes.size();
    sought = bytes.data();
}

FreedMemoryWatch::~FreedMemoryWatch() {
    sought = nullptr;
}

std::size_t FreedMemoryWatch::traces() const {
    return tracesFound;
}

std::size_t FreedMemoryWatch::blocks() const {
    return blocksFreed;
}

} // namespace VexaSsl::test
