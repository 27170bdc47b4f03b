// The help texts, made from the tables of the commands.
#pragma once

#include "common/Command.h"

#include <string>
#include <vector>

namespace VexaSsl::tool {

// For "vexassl --help": one line for each command, and the exit statuses.
std::string generalHelp(const std::vector<Command>& commands);

// For "vexassl COMMAND --help": usage, flags with their defaults, notes, examples, exit statuses.
std::string commandHelp(const Command& command);

} // namespace VexaSsl::tool
