// How a stream of application data ends, and what that is to the user.
//
// Plain values; any thread.
#pragma once

#include "common/ExitStatus.h"

#include <optional>

namespace VexaSsl::tool {

enum class StreamEnd {
    None,         // it goes on
    Closed,       // the peer closed it
    InsideRecord, // the peer closed behind a piece of a record; seen by overlapped receives only
    Broken,       // what came can't be taken; the log doesn't always tell. Overlapped ones only
    Lost,         // the connection failed
};

// Nothing for an end in good order. error: of the receive that met it.
std::optional<Failure> failureOf(StreamEnd end, int error);

} // namespace VexaSsl::tool
