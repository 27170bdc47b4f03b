// A SOCKET as the file descriptor that it holds. Any thread.
#pragma once

#include "VexaPlatform/WinsockShapes.h"

namespace VexaSsl::linux {

// The descriptor in s; -1, which no call accepts, when s can't be one (INVALID_SOCKET for example).
int descriptorOf(SOCKET s) noexcept;

// Whether fd is an open socket. errno stays as it was.
bool isSocket(int fd) noexcept;

// Whether calls on fd return at once. False for a descriptor that isn't open.
bool isNonBlocking(int fd) noexcept;

// Makes an eventfd readable, so that its poller wakes up. Repeated after an interruption: otherwise
// the poller would sleep for ever.
void makeReadable(int eventDescriptor) noexcept;

} // namespace VexaSsl::linux
