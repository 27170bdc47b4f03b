#include "platform/linux/sockets/SocketKind.h"

#include "platform/linux/sockets/SocketDescriptor.h"

#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>

namespace VexaSsl::linux {

namespace {

// One byte for each descriptor that a process usually has; for higher ones the system is queried
// each time. Relaxed accesses suffice: a byte guards no other data.
constexpr std::size_t cachedDescriptors = 65536;
std::array<std::atomic<SocketKind>, cachedDescriptors> kinds{};

std::atomic<SocketKind>* cacheEntry(int fd) noexcept {
    const auto index = static_cast<std::size_t>(fd);
    return fd >= 0 && index < cachedDescriptors ? &kinds[index] : nullptr;
}

// Returns unknown for a socket whose type the system can't report for lack of resources.
SocketKind queryKind(int fd) noexcept {
    const int before = errno;
    int type = 0;
    socklen_t size = sizeof type;
    const bool answered = getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) == 0;
    errno = before;
    if (!answered) {
        return isSocket(fd) ? SocketKind::unknown : SocketKind::none;
    }
    return type == SOCK_STREAM ? SocketKind::stream : SocketKind::other;
}

} // namespace

SocketKind kindOf(int fd) noexcept {
    std::atomic<SocketKind>* const entry = cacheEntry(fd);
    if (entry != nullptr) {
        const SocketKind kind = entry->load(std::memory_order_relaxed);
        if (kind != SocketKind::unknown) {
            return kind;
        }
    }
    const SocketKind kind = queryKind(fd);
    if (kind == SocketKind::unknown) {
        return SocketKind::other;
    }
    // none isn't cached: any call may create a socket with this descriptor.
    if (entry != nullptr && kind != SocketKind::none) {
        entry->store(kind, std::memory_order_relaxed);
    }
    return kind;
}

void forgetKind(int fd) noexcept {
    if (std::atomic<SocketKind>* const entry = cacheEntry(fd)) {
        entry->store(SocketKind::unknown, std::memory_order_relaxed);
    }
}

} // namespace VexaSsl::linux
