// The sole owner of a file descriptor. One thread at a time.
#pragma once

#include <utility>

namespace VexaSsl::linux {

// Closes its descriptor when it is destroyed. A negative value owns none.
class Descriptor {
public:
    explicit Descriptor(int fd = -1) noexcept : value(fd) {}
    Descriptor(Descriptor&& other) noexcept : value(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(value, other.value);
        return *this;
    }
    ~Descriptor();

    int get() const noexcept { return value; }
    int release() noexcept { return std::exchange(value, -1); }
    explicit operator bool() const noexcept { return value >= 0; }

private:
    int value;
};

} // namespace VexaSsl::linux
