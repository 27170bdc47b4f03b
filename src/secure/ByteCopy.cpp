#include "secure/ByteCopy.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace VexaSsl {

namespace {

// Some processors copy more than 2 KiB twenty times slower if the destination is 1 to 31 bytes
// further into its memory page than the source, as a record header of 13 bytes makes it. Shorter
// copies are not affected, but slower otherwise.
constexpr std::uintptr_t pageSize = 4096;
constexpr std::uintptr_t slowDistance = 31;
constexpr std::size_t pieceSize = 2048;

bool isSlowInOnePiece(const char* data, const char* destination) noexcept {
    const std::uintptr_t distance =
        (reinterpret_cast<std::uintptr_t>(destination) - reinterpret_cast<std::uintptr_t>(data)) %
        pageSize;
    return distance >= 1 && distance <= slowDistance;
}

} // namespace

void copyBytes(const char* data, std::size_t size, char* destination) noexcept {
    const std::size_t step = isSlowInOnePiece(data, destination) ? pieceSize : size;
    for (std::size_t done = 0; done < size; done += step) {
        std::memcpy(destination + done, data + done, std::min(step, size - done));
    }
}

} // namespace VexaSsl
