#include "platform/linux/sockets/SocketRegistry.h"

#include "platform/linux/sockets/SocketDescriptor.h"
#include "platform/linux/sockets/SocketKind.h"
#include "platform/linux/sockets/SocketStates.h"
#include "platform/linux/sockets/SystemErrors.h"

#include <unistd.h>

#include <cerrno>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <utility>

namespace VexaSsl::linux {

SocketRegistry& SocketRegistry::instance() {
    static SocketRegistry& registry = *new SocketRegistry; // never destroyed, as threads may wait
    return registry;
}

std::shared_ptr<OperationQueue> SocketRegistry::find(int fd) const {
    const std::shared_lock lock(mutex);
    const auto found = queues.find(fd);
    return found == queues.end() ? nullptr : found->second;
}

std::shared_ptr<OperationQueue> SocketRegistry::findOrCreate(int fd) {
    if (auto queue = find(fd)) {
        return queue;
    }
    if (!isSocket(fd)) {
        return nullptr;
    }
    auto queue = std::make_shared<OperationQueue>(fd);
    const std::unique_lock lock(mutex);
    return queues.emplace(fd, std::move(queue)).first->second; // another thread's, if it was faster
}

std::shared_ptr<OperationQueue> SocketRegistry::remove(int fd) {
    const std::unique_lock lock(mutex);
    const auto node = queues.extract(fd);
    return node.empty() ? nullptr : std::move(node.mapped());
}

void SocketRegistry::forgetPrevious(int fd) {
    if (find(fd)) { // rare; find takes the shared lock only
        if (const auto stale = remove(fd)) {
            stale->close();
        }
    }
    SocketStates::instance().forget(fd);
    forgetKind(fd);
}

int SocketRegistry::close(int fd) {
    if (!isSocket(fd)) {
        return WSAENOTSOCK;
    }
    const auto queue = find(fd);
    if (queue) {
        queue->close(); // before its removal, so that no other thread creates a second queue
    }
    SocketStates::instance().forget(fd);
    forgetKind(fd);
    const int result = ::close(fd) == 0 || errno == EINTR ? 0 : winsockError(errno);
    const std::unique_lock lock(mutex);
    const auto found = queues.find(fd);
    if (queue && found != queues.end() && found->second == queue) {
        queues.erase(found); // unless a new socket has the descriptor by now
    }
    return result;
}

} // namespace VexaSsl::linux
