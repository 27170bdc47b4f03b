// The exact log lines of a failed handshake.
#pragma once

#include "tampering/TamperedConnection.h"

#include <string>
#include <vector>

namespace VexaSsl::test {

// The lines from Info upwards if the peer closed, or if a receive or send failed with the code.
std::vector<LogLine> linesOfClosedHandshake();
std::vector<LogLine> linesOfFailedReceive(DWORD code);
std::vector<LogLine> linesOfFailedSend(DWORD code);

// Describes what is wrong with a failed handshake, given the expected lines from Info upwards;
// empty if result, last error, socket and lines are as documented.
std::string faultOfFailedHandshake(TamperedConnection& connection,
                                   const std::vector<LogLine>& expected);
// The same for a handshake that the peer closed or the security package refused.
std::string faultOfRefusedHandshake(TamperedConnection& connection);

} // namespace VexaSsl::test
