// vexassl check: a configuration as a start reads it, every value with its origin, and everything
// that the format silently drops.
#pragma once

#include "check/ConfigurationCheck.h"
#include "common/Command.h"

namespace VexaSsl::tool {

// Uses no network. Throws Failure when there are errors, with the status of the first, or warnings
// under strict; everything has been printed by then.
ExitStatus runCheck(const CheckOptions& options);

Command checkCommand();

} // namespace VexaSsl::tool
