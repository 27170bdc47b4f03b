#include "secure/WipingAllocator.h"

#include <cstring>

namespace VexaSsl {

namespace {

// Read at each call, so that the compiler doesn't know that it is memset and that the zeros are not
// read.
void* (*volatile const overwrite)(void*, int, std::size_t) = std::memset;

} // namespace

void wipeMemory(void* memory, std::size_t size) {
    overwrite(memory, 0, size);
}

} // namespace VexaSsl
