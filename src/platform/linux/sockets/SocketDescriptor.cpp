#include "platform/linux/sockets/SocketDescriptor.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VexaSsl::linux {

int descriptorOf(SOCKET s) noexcept {
    return s <= SOCKET{INT_MAX} ? static_cast<int>(s) : -1;
}

bool isSocket(int fd) noexcept {
    const int before = errno;
    struct stat facts {};
    // If fstat fails for lack of resources, an open descriptor counts as a socket: otherwise
    // closesocket would refuse it.
    const bool result = fstat(fd, &facts) == 0 ? S_ISSOCK(facts.st_mode) : errno != EBADF;
    errno = before;
    return result;
}

bool isNonBlocking(int fd) noexcept {
    const int before = errno;
    const int flags = fcntl(fd, F_GETFL);
    errno = before;
    return flags >= 0 && (flags & O_NONBLOCK) != 0;
}

// A full counter (EAGAIN) is readable already.
void makeReadable(int eventDescriptor) noexcept {
    constexpr int maximumAttempts = 1000;
    for (int attempt = 0; attempt < maximumAttempts; ++attempt) {
        if (eventfd_write(eventDescriptor, 1) == 0 || errno == EAGAIN) {
            return;
        }
    }
}

} // namespace VexaSsl::linux
