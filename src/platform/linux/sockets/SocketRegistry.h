// The operation queues by socket, created on first use. Any thread; a lock is held for one lookup
// or change only.
#pragma once

#include "platform/linux/sockets/OperationQueue.h"

#include <memory>
#include <shared_mutex>
#include <unordered_map>

namespace VexaSsl::linux {

class SocketRegistry {
public:
    static SocketRegistry& instance();

    // Returns null when the socket has no queue.
    std::shared_ptr<OperationQueue> find(int fd) const;
    // Returns null when fd isn't a socket.
    std::shared_ptr<OperationQueue> findOrCreate(int fd);

    // Discards what is stored about an earlier socket with the descriptor of a new one.
    void forgetPrevious(int fd);
    // Aborts the pending operations and closes the socket. Returns 0 or a Winsock error code.
    int close(int fd);

private:
    std::shared_ptr<OperationQueue> remove(int fd);

    mutable std::shared_mutex mutex;
    std::unordered_map<int, std::shared_ptr<OperationQueue>> queues;
};

} // namespace VexaSsl::linux
