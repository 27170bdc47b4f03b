// The socket types in the library's interface: Winsock's own on Windows, and on Linux the types of
// VexaPlatform/WinsockShapes.h, which have the same names.
#pragma once

#if defined(_WIN32)
// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
#include <mswsock.h>
// clang-format on
#else
#include "VexaPlatform/WinsockShapes.h" // IWYU pragma: export
#endif

namespace VexaSsl {

// The two receive flags that a secured connection knows, with the values of Winsock's MSG_PEEK and
// MSG_WAITALL on every system. (The C library on Linux has macros of these names with other
// values.)
inline constexpr int msgPeek = 0x2;    // return data without removing it
inline constexpr int msgWaitAll = 0x8; // wait until the buffer is full

} // namespace VexaSsl
