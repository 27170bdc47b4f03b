// The system's functions that a host calls in addition to the contract: on a system without
// Winsock, those of VexaPlatform.
#pragma once

#include "VexaPlatform/HostSockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>

namespace VexaSsl::test {

namespace host = platform;

using platform::INFINITE;
using platform::WSA_WAIT_EVENT_0;
using platform::WSA_WAIT_FAILED;
using platform::WSA_WAIT_IO_COMPLETION;
using platform::WSA_WAIT_TIMEOUT;

} // namespace VexaSsl::test
