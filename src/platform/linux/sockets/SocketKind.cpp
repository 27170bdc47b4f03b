#include "platform/linux/sockets/SocketKind.h"

#include "platform/linux/sockets/SocketDescriptor.h"

#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>

namespace VexaSsl::linux {

namespace {

// A byte for each number that a process usually has; beyond them the system is asked each time.
// Relaxed, since a byte says everything and stands for itself.
constexpr std::size_t remembered = 65536;
std::array<std::atomic<SocketKind>, remembered> kinds{};

std::atomic<SocketKind>* placeOf(int fd) noexcept {
    const auto number = static_cast<std::size_t>(fd);
    return fd >= 0 && number < remembered ? &kinds[number] : nullptr;
}

// Unknown for a socket while the system is too short of something to say what it is.
SocketKind askSystem(int fd) noexcept {
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
    std::atomic<SocketKind>* const place = placeOf(fd);
    if (place != nullptr) {
        const SocketKind kind = place->load(std::memory_order_relaxed);
        if (kind != SocketKind::unknown) {
            return kind;
        }
    }
    const SocketKind kind = askSystem(fd);
    if (kind == SocketKind::unknown) {
        return SocketKind::other;
    }
    if (place != nullptr && kind != SocketKind::none) { // any call may make a socket of that number
        place->store(kind, std::memory_order_relaxed);
    }
    return kind;
}

void forgetKind(int fd) noexcept {
    if (std::atomic<SocketKind>* const place = placeOf(fd)) {
        place->store(SocketKind::unknown, std::memory_order_relaxed);
    }
}

} // namespace VexaSsl::linux
