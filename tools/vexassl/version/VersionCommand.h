// vexassl version: the library's number and what it stands on.
#pragma once

#include "common/Command.h"

namespace VexaSsl::tool {

Command versionCommand();

} // namespace VexaSsl::tool
