// What the loader calls in the library.
#pragma once

#include "ModuleShapes.h" // IWYU pragma: export
#include "VexaSsl/Export.h"

namespace VexaSsl {

// The entry point. At the attachment of the process it keeps the instance handle, the first one
// only, and asks for no notices of threads that come and go; other reasons are nothing to it.
// Result: always 1, the library can always be loaded.
//
// Runs under the loader's lock, after the library's constants have been made.
extern "C" VEXASSL_API BOOL DllMain(HINSTANCE instance, DWORD reason, void* reserved);

// The same for callers inside the library, who would meet another library's entry point by the
// exported name where the loader joins equal names.
BOOL enterModule(HINSTANCE instance, DWORD reason);

} // namespace VexaSsl
