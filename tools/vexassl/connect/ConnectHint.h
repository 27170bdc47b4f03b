// The command that shows why a connection failed. Stateless; any thread.
#pragma once

#include "connect/ConnectCommand.h"

#include <string>

namespace VexaSsl::tool {

// Returns one line for a shell; empty when no command shows more than the failure does.
std::string hintFor(const ConnectOptions& options, ExitStatus status);

} // namespace VexaSsl::tool
