// Handles of events, completion ports, credentials, security contexts and certificate stores. A
// handle value is never reused, so a stale handle is always recognised. Any thread; a lock is held
// for one lookup only, and consecutive handles have different locks.
#pragma once

#include "VexaPlatform/WinsockShapes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace VexaSsl::linux {

// Handles are multiples of this, so their lowest bits are free for flags.
inline constexpr std::uintptr_t handleStep = 4;

// Returns a new handle value.
HANDLE nextHandle() noexcept;

// The objects of one type by handle. An object is shared by the table and its users.
template <typename T>
class HandleTable {
public:
    // Returns the one table of T. Never destroyed, as threads may wait while the process ends.
    static HandleTable& instance() {
        static HandleTable& table = *new HandleTable;
        return table;
    }

    HANDLE add(std::shared_ptr<T> object) {
        const HANDLE handle = nextHandle();
        Shard& shard = shardOf(handle);
        const std::lock_guard lock(shard.mutex);
        shard.objects.emplace(handle, std::move(object));
        return handle;
    }

    // Returns null for a handle that is unknown or has been removed.
    std::shared_ptr<T> find(HANDLE handle) {
        Shard& shard = shardOf(handle);
        const std::lock_guard lock(shard.mutex);
        const auto found = shard.objects.find(handle);
        return found == shard.objects.end() ? nullptr : found->second;
    }

    // Removes the object and returns it; null as above.
    std::shared_ptr<T> take(HANDLE handle) {
        Shard& shard = shardOf(handle);
        const std::lock_guard lock(shard.mutex);
        const auto node = shard.objects.extract(handle);
        return node.empty() ? nullptr : std::move(node.mapped());
    }

private:
    static constexpr std::size_t cacheLine = 64;
    struct alignas(cacheLine) Shard {
        // Allocated at once, so that the memory use of the process doesn't depend on how many
        // shards have had a handle.
        Shard() { objects.reserve(8); }

        std::mutex mutex;
        std::unordered_map<HANDLE, std::shared_ptr<T>> objects;
    };

    Shard& shardOf(HANDLE handle) {
        return shards[reinterpret_cast<std::uintptr_t>(handle) / handleStep % shards.size()];
    }

    std::array<Shard, 16> shards;
};

} // namespace VexaSsl::linux
