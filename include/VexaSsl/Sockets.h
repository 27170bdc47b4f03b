// The socket types that the library's interface is written in: Winsock's own on Windows, the same
// shapes from VexaPlatform elsewhere.
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

// Look at what has come without taking it. One of the two receive flags that a secure connection
// understands, with Winsock's numbers on every system. (Elsewhere the C library occupies MSG_PEEK
// and MSG_WAITALL with numbers of its own.)
inline constexpr int msgPeek = 0x2;
// Wait until the buffer is full. The other one.
inline constexpr int msgWaitAll = 0x8;

} // namespace VexaSsl
