// An allocator for plaintext and handshake bytes: all of the capacity is overwritten with zeros
// before it is freed, also when a container grows or an exception unwinds. Stateless; any thread.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace VexaSsl {

// Overwrites size bytes with zeros. The compiler can't remove the call although the memory is about
// to be freed.
void wipeMemory(void* memory, std::size_t size);

// Base allocates and frees the memory.
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

    // resize leaves new bytes uninitialised: setting them to zero one by one would cost more than
    // what is done with them.
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
