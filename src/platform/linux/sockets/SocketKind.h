// The type of a socket, cached until closesocket, so that every receive can ask for it. Hosts must
// close sockets with closesocket only. Any thread.
#pragma once

#include <cstdint>

namespace VexaSsl::linux {

enum class SocketKind : std::uint8_t {
    unknown, // not queried yet
    none,    // not a socket, or not open
    stream,  // SOCK_STREAM: a receive never truncates
    other,
};

// Never returns unknown. Preserves errno.
SocketKind kindOf(int fd) noexcept;

// Called when the socket is closed and when a new one has the descriptor.
void forgetKind(int fd) noexcept;

} // namespace VexaSsl::linux
