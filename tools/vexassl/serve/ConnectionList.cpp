#include "serve/ConnectionList.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>

namespace VexaSsl::tool {

void ConnectionList::start(std::unique_ptr<ServedConnection> connection) {
    Connections started;
    const auto position = started.insert(started.end(), std::move(connection));
    {
        const std::lock_guard lock(mutex);
        running.splice(running.end(), started);
    }
    try {
        (*position)->start([this, position] { end(position); });
    } catch (...) {
        const std::lock_guard lock(mutex);
        running.erase(position);
        throw;
    }
}

std::size_t ConnectionList::size() const {
    const std::lock_guard lock(mutex);
    return running.size();
}

ConnectionList::Connections ConnectionList::takeEnded() {
    const std::lock_guard lock(mutex);
    event.reset();
    return std::exchange(ended, {});
}

void ConnectionList::waitForAll() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return running.empty(); });
}

void ConnectionList::end(Connections::iterator connection) {
    const std::lock_guard lock(mutex);
    ended.splice(ended.end(), running, connection);
    event.set();
    changed.notify_all();
}

} // namespace VexaSsl::tool
