// The calls with which a host works on its sockets on a system without Winsock: those of the
// Linux binding, which the tests reach as platform::....
#pragma once

#include "VexaPlatform/HostSockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>

namespace VexaSsl::test {

// What an alertable wait says when a completion routine has run.
inline constexpr DWORD endedByRoutine = platform::WSA_WAIT_IO_COMPLETION;

} // namespace VexaSsl::test
