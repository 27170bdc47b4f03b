// Whether the system has the security package that everything else needs.
#pragma once

#include "VexaSsl/ILog.h"

namespace VexaSsl {

// Checks once in a process; after a failure the next caller checks again. Any thread; others wait
// for a check that is running. Throws std::runtime_error after an Error line: "schannel package not
// present", or the status as a decimal number if the packages can't be listed.
void checkSecurityPackage(ILog& log);

} // namespace VexaSsl
