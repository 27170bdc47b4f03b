#include "platform/linux/base/BoundedFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string>

namespace VexaSsl::linux {

// Without O_NONBLOCK, opening a FIFO would wait for its writer.
Descriptor openForReading(const char* path) noexcept {
    int number = -1;
    do {
        number = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    } while (number < 0 && errno == EINTR);
    return Descriptor(number);
}

bool readUpTo(int descriptor, void* buffer, std::size_t size, std::size_t& filled) noexcept {
    filled = 0;
    while (filled < size) {
        const ssize_t count = read(descriptor, static_cast<char*>(buffer) + filled, size - filled);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return false;
        }
        if (count == 0) {
            break;
        }
        filled += static_cast<std::size_t>(count);
    }
    return true;
}

std::string readText(const char* path, std::size_t limit) {
    const Descriptor file = openForReading(path);
    if (!file) {
        return {};
    }
    std::string text(limit, '\0');
    std::size_t filled = 0;
    if (!readUpTo(file.get(), text.data(), text.size(), filled)) {
        return {};
    }
    text.resize(filled);
    return text;
}

} // namespace VexaSsl::linux
