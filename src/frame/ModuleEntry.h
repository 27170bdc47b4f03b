// The library's entry point.
#pragma once

#include "ModuleShapes.h" // IWYU pragma: export
#include "VexaSsl/Export.h"

namespace VexaSsl {

// Called by the loader. When the process attaches, stores the first instance handle and disables
// thread notifications; ignores other reasons. Always returns 1.
//
// Runs under the loader's lock, after the library's constants have been built.
extern "C" VEXASSL_API BOOL DllMain(HINSTANCE instance, DWORD reason, void* reserved);

// The same for callers inside the library: on Linux the exported name may lead to the entry point
// of another library.
BOOL enterModule(HINSTANCE instance, DWORD reason);

} // namespace VexaSsl
