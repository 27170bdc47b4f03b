#include "secure/WipingAllocator.h"

#include <cstring>

namespace VexaSsl {

namespace {

// Read anew at each call, so the compiler can't know that it leads to memset and can't find out
// that nobody reads the zeros.
void* (*volatile const overwrite)(void*, int, std::size_t) = std::memset;

} // namespace

void wipeMemory(void* memory, std::size_t size) {
    if (size != 0) {
        overwrite(memory, 0, size);
    }
}

} // namespace VexaSsl
