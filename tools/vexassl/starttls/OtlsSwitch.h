// The step from clear text to TLS on a connection of the library, as any host takes it.
//
// Threads: the connection's own; nothing else may be under way on the strategy.
#pragma once

#include "VexaSsl/VexaSsl.h"

namespace VexaSsl::tool {

// Throws Failure (Usage), which says what to change, unless the configuration makes a connection
// that begins in the clear and can be switched.
void requireSwitchable(const IConfig& config);

// Runs the handshake on the calling thread. A name must have been resolved through the strategy.
// Result: false on failure; the log tells why, and the connection is still there, in the clear.
bool switchToTls(ISocketStrategy& strategy);

} // namespace VexaSsl::tool
