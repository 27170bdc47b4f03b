// A SOCKET seen as the file descriptor that it holds, and the owner of a descriptor. Any thread.
#pragma once

#include "VexaPlatform/WinsockShapes.h"

namespace VexaSsl::linux {

// The descriptor in s; -1, which no call accepts, when s can't be one (INVALID_SOCKET for example).
int descriptorOf(SOCKET s) noexcept;

// Whether fd is an open socket. errno stays as it was.
bool isSocket(int fd) noexcept;

// Whether calls on fd return at once. False for a descriptor that isn't open.
bool isNonBlocking(int fd) noexcept;

// Makes an eventfd readable, so that whoever polls it wakes up. An interruption doesn't keep it
// from that: the sleeper would sleep for ever.
void makeReadable(int eventDescriptor) noexcept;

// Sole owner of a descriptor; closes it at the end of its life.
class Descriptor {
public:
    explicit Descriptor(int fd = -1) noexcept : value(fd) {}
    Descriptor(Descriptor&& other) noexcept : value(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor();

    int get() const noexcept { return value; }
    int release() noexcept;
    explicit operator bool() const noexcept { return value >= 0; }

private:
    int value;
};

} // namespace VexaSsl::linux
