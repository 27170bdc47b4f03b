// The register of commands, in the order of the help.
#pragma once

#include "common/Command.h"

#include <vector>

namespace VexaSsl::tool {

std::vector<Command> allCommands();

} // namespace VexaSsl::tool
