// Sends whole texts through a strategy, whose send may take less than offered while the connection
// is in the clear.
//
// Threads: one sender per strategy.
#pragma once

#include "VexaSsl/ISocketStrategy.h"

#include <string_view>

namespace VexaSsl::tool {

// Returns false when the connection took less than everything; the error number is in the
// last-error slot, and how much was sent isn't known.
bool sendAll(ISocketStrategy& strategy, SOCKET s, std::string_view bytes);

} // namespace VexaSsl::tool
