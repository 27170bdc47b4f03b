// Handles of events, completion ports, credentials and connections: numbers that are never used
// twice, so that a handle which outlived its object is told from every other. Any thread;
// neighbours in number share no lock, and a lock is held for a look-up.
#pragma once

#include "VexaPlatform/WinsockShapes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace VexaSsl::linux {

// Handles are multiples of it, so that their lowest bits are free for marks.
inline constexpr std::uintptr_t handleStep = 4;

// The next handle value.
HANDLE nextHandle() noexcept;

// The objects of one kind. An object lives as long as the table or a user of it holds it.
template <typename T>
class HandleTable {
public:
    // The one table of T. Never destroyed: threads may still wait while the process ends.
    static HandleTable& instance() {
        static HandleTable& table = *new HandleTable;
        return table;
    }

    HANDLE add(std::shared_ptr<T> object) {
        const HANDLE handle = nextHandle();
        Part& part = partOf(handle);
        const std::lock_guard lock(part.mutex);
        part.objects.emplace(handle, std::move(object));
        return handle;
    }

    // Null when no object has this handle, or not any more.
    std::shared_ptr<T> find(HANDLE handle) {
        Part& part = partOf(handle);
        const std::lock_guard lock(part.mutex);
        const auto found = part.objects.find(handle);
        return found == part.objects.end() ? nullptr : found->second;
    }

    // Takes the object out; its handle is void from now on.
    std::shared_ptr<T> take(HANDLE handle) {
        Part& part = partOf(handle);
        const std::lock_guard lock(part.mutex);
        const auto node = part.objects.extract(handle);
        return node.empty() ? nullptr : std::move(node.mapped());
    }

private:
    static constexpr std::size_t cacheLine = 64;
    struct alignas(cacheLine) Part {
        // Room from the start, so that what the process holds doesn't grow with the handles it has
        // had until each part has had one.
        Part() { objects.reserve(8); }

        std::mutex mutex;
        std::unordered_map<HANDLE, std::shared_ptr<T>> objects;
    };

    Part& partOf(HANDLE handle) {
        return parts[reinterpret_cast<std::uintptr_t>(handle) / handleStep % parts.size()];
    }

    std::array<Part, 16> parts;
};

} // namespace VexaSsl::linux
