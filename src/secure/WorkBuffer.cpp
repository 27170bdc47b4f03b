#include "secure/WorkBuffer.h"

#include "platform/contract/Pages.h"
#include "secure/WipingAllocator.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>
#include <utility>

#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(memory, size) static_cast<void>(size)
#define ASAN_UNPOISON_MEMORY_REGION(memory, size) static_cast<void>(size)
#endif

namespace VexaSsl {

// The start of pages; slots of the same size follow. Free ones are zero, and the address sanitizer
// refuses them.
struct alignas(64) Slab {
    Slab(std::size_t slotSize, std::uint32_t slots) noexcept
        : slotSize(slotSize), slots(slots), free(slots) {}

    char* firstSlot() noexcept { return reinterpret_cast<char*>(this + 1); }

    std::size_t slotSize;
    std::uint32_t slots; // a bit for each
    std::uint32_t free;
    Slab* previous = nullptr;
    Slab* next = nullptr;
};

namespace {

// Fits a record of 2^14 bytes of plaintext (RFC 5246, 6.2.1) with what TLS 1.2's ciphers add to it.
constexpr std::size_t commonSlotSize = (16 << 10) + 128;
constexpr std::uint32_t commonSlots = 0xFFFFFFFF;

std::mutex slabsMutex;
// Those with a common slot that is free; the one that was given back to last comes first.
constinit Slab* slabsWithRoom = nullptr;
// Whether an empty slab is kept for the next connection if no other one has room.
constinit bool isOneKept = true;

void link(Slab* slab) noexcept {
    slab->previous = nullptr;
    slab->next = slabsWithRoom;
    if (slab->next != nullptr) {
        slab->next->previous = slab;
    }
    slabsWithRoom = slab;
}

void unlink(Slab* slab) noexcept {
    (slab->previous != nullptr ? slab->previous->next : slabsWithRoom) = slab->next;
    if (slab->next != nullptr) {
        slab->next->previous = slab->previous;
    }
}

std::size_t sizeOfSlots(std::size_t slotSize, std::uint32_t slots) noexcept {
    return slotSize * static_cast<std::size_t>(std::bit_width(slots));
}

Slab* makeSlab(std::size_t slotSize, std::uint32_t slots) {
    const std::size_t size = sizeOfSlots(slotSize, slots);
    void* const pages = platform::mapPages(sizeof(Slab) + size);
    if (pages == nullptr) {
        throw std::bad_alloc();
    }
    Slab* const slab = new (pages) Slab(slotSize, slots);
    ASAN_POISON_MEMORY_REGION(slab->firstSlot(), size);
    return slab;
}

void freeSlab(Slab* slab) noexcept {
    const std::size_t size = sizeOfSlots(slab->slotSize, slab->slots);
    ASAN_UNPOISON_MEMORY_REGION(slab->firstSlot(), size);
    platform::unmapPages(slab, sizeof(Slab) + size);
}

char* takeSlot(Slab* slab) noexcept {
    const auto slot = static_cast<std::size_t>(std::countr_zero(slab->free));
    slab->free &= slab->free - 1;
    return slab->firstSlot() + slot * slab->slotSize;
}

// Returns a slab with a free slot of at least size bytes, which only the caller may take if it is
// not a common one.
Slab* slabFor(std::size_t size) {
    if (size > commonSlotSize) {
        return makeSlab(size, 1);
    }
    if (slabsWithRoom == nullptr) {
        link(makeSlab(commonSlotSize, commonSlots));
    }
    return slabsWithRoom;
}

void giveBack(Slab* slab, const char* slot) noexcept {
    ASAN_POISON_MEMORY_REGION(slot, slab->slotSize);
    if (slab->free != 0) {
        unlink(slab);
    }
    const auto distance = static_cast<std::size_t>(slot - slab->firstSlot());
    slab->free |= std::uint32_t{1} << (distance / slab->slotSize);
    const bool isKept = isOneKept && slab->slots == commonSlots && slabsWithRoom == nullptr;
    if (slab->free == slab->slots && !isKept) {
        freeSlab(slab);
    } else {
        link(slab);
    }
}

// Frees the slab that is kept when the library is unloaded.
struct End {
    ~End() {
        // Held by a thread that no longer exists: Windows ends the other threads before, and a
        // child of fork has none. The process ends then, and its memory with it.
        const std::unique_lock lock(slabsMutex, std::try_to_lock);
        if (!lock.owns_lock()) {
            return;
        }
        isOneKept = false;
        Slab* slab = slabsWithRoom;
        while (slab != nullptr && slab->free != slab->slots) {
            slab = slab->next;
        }
        if (slab != nullptr) {
            unlink(slab);
            freeSlab(slab);
        }
    }
};
const End atTheEnd;

} // namespace

WorkBuffer::WorkBuffer(std::size_t size) : byteCount(size) {
    const std::lock_guard lock(slabsMutex);
    slab = slabFor(size);
    bytes = takeSlot(slab);
    if (slab->free == 0 && slab->slots == commonSlots) {
        unlink(slab);
    }
    ASAN_UNPOISON_MEMORY_REGION(bytes, size);
}

WorkBuffer::~WorkBuffer() {
    if (slab != nullptr) {
        shrink(0);
        const std::lock_guard lock(slabsMutex);
        giveBack(slab, bytes);
    }
}

void WorkBuffer::shrink(std::size_t count) noexcept {
    if (count < used) {
        wipeMemory(bytes + count, used - count);
        used = count;
    }
}

void WorkBuffer::swap(WorkBuffer& other) noexcept {
    std::swap(slab, other.slab);
    std::swap(bytes, other.bytes);
    std::swap(byteCount, other.byteCount);
    std::swap(used, other.used);
}

} // namespace VexaSsl
