// The one place that knows the library that parses command lines.
#pragma once

#include "common/Command.h"

#include <vector>

namespace VexaSsl::tool {

// Finds the command, fills the targets of its flags and runs it; or prints a help to standard
// output. Result: the command's status; Well after a help. Throws Failure: Usage for wrong
// arguments, and whatever the command throws.
ExitStatus runCommandLine(const std::vector<Command>& commands, int argc, const char* const* argv);

} // namespace VexaSsl::tool
