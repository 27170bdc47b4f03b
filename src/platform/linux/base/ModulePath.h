// Where the files of the executable and of loaded libraries lie. Any thread.
#pragma once

#include "BaseShapes.h"

#include <string>

namespace VexaSsl::linux {

// The path of the running executable; empty when the system doesn't tell.
std::string executablePath();

// The path of the file of a loaded library, or of the executable for null; empty when the loader
// doesn't know it. module is a handle of dlopen that is still open.
std::string modulePath(HMODULE module);

} // namespace VexaSsl::linux
