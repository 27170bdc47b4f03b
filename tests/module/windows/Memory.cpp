#include "module/Memory.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace VexaSsl::test {

namespace {

std::size_t bytesInUse(HANDLE heap) {
    std::size_t bytes = 0;
    PROCESS_HEAP_ENTRY entry{};
    HeapLock(heap);
    while (HeapWalk(heap, &entry) != FALSE) {
        bytes += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
    }
    HeapUnlock(heap);
    return bytes;
}

} // namespace

// Adds up the blocks of all heaps, since Wine reports 0 bytes of private memory for a process.
std::size_t memoryInUse() {
    std::array<HANDLE, 256> heaps{};
    const DWORD count = GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
    std::size_t bytes = 0;
    std::for_each_n(heaps.begin(), std::min<std::size_t>(count, heaps.size()),
                    [&](HANDLE heap) { bytes += bytesInUse(heap); });
    return bytes;
}

std::size_t nextHandle() {
    const HANDLE next = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    CloseHandle(next);
    return reinterpret_cast<std::uintptr_t>(next) / 4; // handles are multiples of 4
}

} // namespace VexaSsl::test
