// What was negotiated on a connection, and with which peer. It reads objects of the library that a
// host can't reach: this is administration.
//
// Threads: the connection's own, while no other operation runs on the strategy.
#pragma once

#include "VexaSsl/ISocketStrategy.h"
#include "common/JsonLine.h"

#include <optional>
#include <string>

namespace VexaSsl::tool {

struct ConnectionSummary {
    std::string protocol;         // "TLS 1.2", or "TLS" if the system doesn't report it
    std::wstring suite;           // empty if the system doesn't report it
    std::optional<JsonLine> peer; // its certificate, for scripts
    // "TLS 1.2 with TLS_ECDHE_..., peer [subject], issued by [subject]", for a user.
    std::string text;
};

// Returns nothing for a connection in the clear. Log layers above the encrypting strategy are
// skipped.
std::optional<ConnectionSummary> connectionSummary(ISocketStrategy& strategy);

} // namespace VexaSsl::tool
