// What was negotiated on a connection and with whom. This reaches into the library's
// own objects, which a host can't: it is administration.
//
// Threads: the connection's own, while nothing else is under way on the strategy.
#pragma once

#include "VexaSsl/ISocketStrategy.h"
#include "common/JsonLine.h"

#include <optional>
#include <string>

namespace VexaSsl::tool {

struct ConnectionSummary {
    std::string protocol;         // "TLS 1.2", or "TLS" where the system doesn't tell
    std::wstring suite;           // empty where the system doesn't tell
    std::optional<JsonLine> peer; // its certificate, for scripts
    // "TLS 1.2 with TLS_ECDHE_..., peer [subject], issued by [subject]", for a person.
    std::string text;
};

// None for a connection in the clear. Any layers may lie around the encrypting one.
std::optional<ConnectionSummary> connectionSummary(ISocketStrategy& strategy);

} // namespace VexaSsl::tool
