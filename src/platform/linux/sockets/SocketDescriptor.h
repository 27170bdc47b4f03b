// The file descriptor in a SOCKET. Any thread.
#pragma once

#include "VexaPlatform/WinsockShapes.h"

namespace VexaSsl::linux {

// Returns the descriptor in s; -1 for a value that can't be one, such as INVALID_SOCKET.
int descriptorOf(SOCKET s) noexcept;

// Returns whether fd is an open socket. Preserves errno.
bool isSocket(int fd) noexcept;

// Returns whether fd has O_NONBLOCK; false for a descriptor that isn't open. Preserves errno.
bool isNonBlocking(int fd) noexcept;

// Makes an eventfd readable, so that the thread that polls it wakes up. Tries again after a
// failure: a lost wake would leave the thread waiting.
void makeReadable(int eventDescriptor) noexcept;

} // namespace VexaSsl::linux
