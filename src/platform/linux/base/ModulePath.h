// The paths of the executable and of loaded libraries. Any thread.
#pragma once

#include "BaseShapes.h"

#include <string>

namespace VexaSsl::linux {

// Returns the path of the running executable; empty when /proc/self/exe can't be read.
std::string executablePath();

// Returns the path of a loaded library, or of the executable for null; empty when the loader
// doesn't know it. module is an open handle of dlopen.
std::string modulePath(HMODULE module);

} // namespace VexaSsl::linux
