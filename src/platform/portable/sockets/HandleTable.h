// Handles of events and completion ports: numbers that are never used twice, so that a handle which
// outlived its object is told from every other. Any thread; the table's lock is held for a look-up.
#pragma once

#include "VexaPlatform/WinsockShapes.h"

#include <memory>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

namespace VexaSsl::portable {

// The next handle value; a multiple of four, so that its lowest bits are free for marks.
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
        const std::unique_lock lock(mutex);
        objects.emplace(handle, std::move(object));
        return handle;
    }

    // Null when no object has this handle, or not any more.
    std::shared_ptr<T> find(HANDLE handle) const {
        const std::shared_lock lock(mutex);
        const auto found = objects.find(handle);
        return found == objects.end() ? nullptr : found->second;
    }

    // Takes the object out; its handle is void from now on.
    std::shared_ptr<T> take(HANDLE handle) {
        const std::unique_lock lock(mutex);
        const auto node = objects.extract(handle);
        return node.empty() ? nullptr : std::move(node.mapped());
    }

private:
    mutable std::shared_mutex mutex;
    std::unordered_map<HANDLE, std::shared_ptr<T>> objects;
};

} // namespace VexaSsl::portable
