// The allocator of containers that hold bytes of a handshake or plaintext: memory is overwritten
// with zeros before it goes back, all of the capacity, on every path: release, growth (the old
// copy) and unwinding. Stateless; any thread.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace VexaSsl {

// Overwrites size bytes with zeros. Defined in a file of its own behind a call that the compiler
// can't see through, so it isn't dropped although the memory is about to be freed.
void wipeMemory(void* memory, std::size_t size);

// Base is where the memory comes from and goes to.
template <typename Value, typename Base = std::allocator<Value>>
class WipingAllocator {
public:
    using value_type = Value;
    template <typename Other>
    struct rebind {
        using other =
            WipingAllocator<Other,
                            typename std::allocator_traits<Base>::template rebind_alloc<Other>>;
    };

    WipingAllocator() = default;
    template <typename Other, typename OtherBase>
    WipingAllocator(const WipingAllocator<Other, OtherBase>&) noexcept {}

    Value* allocate(std::size_t count) { return Base().allocate(count); }
    void deallocate(Value* memory, std::size_t count) noexcept {
        wipeMemory(memory, count * sizeof(Value));
        Base().deallocate(memory, count);
    }

    template <typename Other, typename OtherBase>
    bool operator==(const WipingAllocator<Other, OtherBase>&) const noexcept {
        return true;
    }
};

using WipedBytes = std::vector<char, WipingAllocator<char>>;

} // namespace VexaSsl
