#include "common/StreamEnd.h"

#include "common/HostNetwork.h"

#include <optional>

namespace VexaSsl::tool {

std::optional<Failure> failureOf(StreamEnd end, int error) {
    switch (end) {
    case StreamEnd::InsideRecord:
        return Failure(ExitStatus::CutShort, "the connection ended inside a record");
    case StreamEnd::Broken:
        return Failure(ExitStatus::Handshake, "what the peer sent is no TLS record");
    case StreamEnd::Lost:
        return Failure(ExitStatus::CutShort, "connection lost: " + socketErrorText(error));
    case StreamEnd::None:
    case StreamEnd::Closed:
        break;
    }
    return std::nullopt;
}

} // namespace VexaSsl::tool
