// How a stream of application data ended, and what the user is told about it.
//
// Plain values; any thread.
#pragma once

#include "common/ExitStatus.h"

#include <optional>

namespace VexaSsl::tool {

enum class StreamEnd {
    None,         // the stream continues
    Closed,       // the peer closed it
    InsideRecord, // the peer closed after a partial record; seen by overlapped receives only
    Broken,       // the data was refused, sometimes without a log line; overlapped ones only
    Lost,         // the connection failed
};

// Throws Failure unless the end is orderly. error: the last error of the receive that returned it.
std::optional<Failure> failureOf(StreamEnd end, int error);

} // namespace VexaSsl::tool
