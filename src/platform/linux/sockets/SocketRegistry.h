// The operation queues of the sockets that have needed one. Any thread; its lock is held for a
// look-up only.
#pragma once

#include "platform/linux/sockets/OperationQueue.h"

#include <memory>
#include <shared_mutex>
#include <unordered_map>

namespace VexaSsl::linux {

class SocketRegistry {
public:
    static SocketRegistry& instance();

    // Null when the socket has no queue.
    std::shared_ptr<OperationQueue> find(int fd) const;
    // Makes a queue if there is none; null when fd is no socket.
    std::shared_ptr<OperationQueue> obtain(int fd);

    // fd is a new socket: whatever is known of an earlier one with this number is void.
    void welcome(int fd);
    // Closes the socket after completing what is pending on it. Result: 0 or an error number.
    int close(int fd);

private:
    std::shared_ptr<OperationQueue> take(int fd);

    mutable std::shared_mutex mutex;
    std::unordered_map<int, std::shared_ptr<OperationQueue>> queues;
};

} // namespace VexaSsl::linux
