#include "platform/linux/base/Descriptors.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace VexaSsl::linux {

int descriptorOf(SOCKET s) noexcept {
    return s <= SOCKET{INT_MAX} ? static_cast<int>(s) : -1;
}

bool isSocket(int fd) noexcept {
    const int before = errno;
    struct stat facts {};
    // One that is open stays one while the system is too short of something to say so: a socket
    // that is taken for none could never be closed.
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

void makeReadable(int eventDescriptor) noexcept {
    while (eventfd_write(eventDescriptor, 1) != 0 && errno == EINTR) {
    }
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    std::swap(value, other.value);
    return *this;
}

Descriptor::~Descriptor() {
    if (value >= 0) {
        ::close(value);
    }
}

int Descriptor::release() noexcept {
    return std::exchange(value, -1);
}

} // namespace VexaSsl::linux
