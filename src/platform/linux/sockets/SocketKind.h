// What sort of socket a descriptor is, asked of the system once for each socket: that calls are
// cheap enough to be made before every read. A socket is closed by closesocket and by nothing
// else, as hosts are told, so what was found out holds until then. Any thread.
#pragma once

#include <cstdint>

namespace VexaSsl::linux {

enum class SocketKind : std::uint8_t {
    unknown, // not asked yet
    none,    // no socket, or not open
    stream,  // a stream of bytes, of which no read cuts anything off
    other,
};

// Never unknown. errno stays as it was.
SocketKind kindOf(int fd) noexcept;

// The number is another socket's from now on, or nobody's.
void forgetKind(int fd) noexcept;

} // namespace VexaSsl::linux
