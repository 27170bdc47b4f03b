// The calls of a host on its sockets on Linux: those of libVexaPlatform.
#pragma once

#include "VexaPlatform/HostSockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>

namespace VexaSsl::test {

// The result of an alertable wait after a completion routine has run.
inline constexpr DWORD endedByRoutine = platform::WSA_WAIT_IO_COMPLETION;

} // namespace VexaSsl::test
