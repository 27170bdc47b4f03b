// Whether the system has the security package that everything else needs.
#pragma once

#include "VexaSsl/ILog.h"

namespace VexaSsl {

// Looks once in a process; a look that failed is repeated by the next caller. Any thread may call
// it: the others wait for the one that looks.
// Throws std::runtime_error: "schannel package not present", or the status as a decimal number when
// the packages can't be listed. The reason is in the log.
void checkSecurityPackage(ILog& log);

} // namespace VexaSsl
