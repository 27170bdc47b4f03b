// vexassl version: the number of the library, its platform and its security library.
#pragma once

#include "common/Command.h"

namespace VexaSsl::tool {

Command versionCommand();

} // namespace VexaSsl::tool
