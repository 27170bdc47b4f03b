// Parses the command line. No other file includes the parser library.
#pragma once

#include "common/Command.h"

#include <vector>

namespace VexaSsl::tool {

// Finds the command, fills the targets of its flags and runs it, or prints a help to standard
// output. Returns the command's status, or Success after a help. Throws Failure: Usage for wrong
// arguments, and what the command throws.
ExitStatus runCommandLine(const std::vector<Command>& commands, int argc, const char* const* argv);

} // namespace VexaSsl::tool
