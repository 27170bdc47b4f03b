// The switch from clear text to TLS on a connection of the library, as any host does it.
//
// Threads: the connection's own; no other operation may run on the strategy.
#pragma once

#include "VexaSsl/VexaSsl.h"

namespace VexaSsl::tool {

// Throws Failure (Usage), which says what to change, unless the configuration makes a connection
// that begins in the clear and can be switched.
void requireSwitchable(const IConfig& config);

// Runs the handshake on the calling thread. A name must have been resolved through the strategy.
// Returns false on failure; the log has the reason, and the connection is still there, in the
// clear.
bool switchToTls(ISocketStrategy& strategy);

} // namespace VexaSsl::tool
