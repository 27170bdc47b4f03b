// The allocator of containers that hold bytes of a handshake or plaintext: memory is overwritten
// with zeros before it goes back, all of the capacity, on every path: release, growth (the old
// copy) and unwinding. Stateless; any thread.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>
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

    // A container that grows by bytes without being told their value leaves them as they are:
    // whoever makes it grow writes them. Setting them to zero first, one by one, would cost more
    // than what is done with them afterwards.
    template <typename Other>
    void construct(Other* place) noexcept {
        ::new (static_cast<void*>(place)) Other;
    }
    template <typename Other, typename... Arguments>
    void construct(Other* place, Arguments&&... arguments) {
        ::new (static_cast<void*>(place)) Other(std::forward<Arguments>(arguments)...);
    }

    template <typename Other, typename OtherBase>
    bool operator==(const WipingAllocator<Other, OtherBase>&) const noexcept {
        return true;
    }
};

using WipedBytes = std::vector<char, WipingAllocator<char>>;

} // namespace VexaSsl
