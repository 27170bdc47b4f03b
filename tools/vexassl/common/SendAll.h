// Sending whole texts through a strategy, whose send may take less than it is offered while the
// connection is in the clear.
//
// Threads: one sender per strategy.
#pragma once

#include "VexaSsl/ISocketStrategy.h"

#include <string_view>

namespace VexaSsl::tool {

// Result: false when the connection took less than everything; the number of the failure lies in
// the last-error slot, and how much has gone out isn't known.
bool sendAll(ISocketStrategy& strategy, SOCKET s, std::string_view bytes);

} // namespace VexaSsl::tool
