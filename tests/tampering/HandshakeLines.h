// The lines that a failed handshake leaves in the log, letter by letter.
#pragma once

#include "tampering/Scene.h"

#include <string>
#include <vector>

namespace VexaSsl::test {

// From Info upwards: the peer closed, or a receive or send failed with the code.
std::vector<LogLine> linesOfClosedHandshake();
std::vector<LogLine> linesOfFailedReceive(DWORD code);
std::vector<LogLine> linesOfFailedSend(DWORD code);

// What is wrong with the end of a handshake that failed, given the lines from Info upwards; empty
// when result, last error, socket and lines are as documented.
std::string faultOfFailedHandshake(Scene& scene, const std::vector<LogLine>& expected);
// The same where either the peer closed or the security package refused what came.
std::string faultOfRefusedHandshake(Scene& scene);

} // namespace VexaSsl::test
