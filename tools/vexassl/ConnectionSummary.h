// What was negotiated on a connection and with whom, in one line. This reaches into the library's
// own objects, which a host can't: it is administration.
//
// Threads: the connection's own, while nothing else is under way on the strategy.
#pragma once

#include "VexaSsl/ISocketStrategy.h"

#include <string>

namespace VexaSsl::tool {

// "TLS 1.2 with TLS_ECDHE_..., peer [subject], issued by [subject]"; empty for a connection in the
// clear. Any layers may lie around the encrypting one.
std::string connectionSummary(ISocketStrategy& strategy);

} // namespace VexaSsl::tool
