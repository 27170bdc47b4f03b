// The version of the library that a host runs with. Both functions are exported under their plain
// names, so a host can look them up at run time. They need no log and no configuration.
#pragma once

#include "VexaSsl/Export.h"
#include "VexaSsl/Sockets.h" // IWYU pragma: keep: must precede shlwapi.h

#include <cstdint>

#if defined(_WIN32)
#include <shlwapi.h>
#else
#include "VexaPlatform/VersionShapes.h" // IWYU pragma: export
#endif

namespace VexaSsl {

extern "C" {

// Stores the version of the library's file in *info: the four numbers of its version record, or the
// built-in ones when the record can't be read. The fourth number goes to dwPlatformID, although
// that field names a platform elsewhere. The caller sets info->cbSize to sizeof(DLLVERSIONINFO).
//
// Returns 0, or -1 without writing anything when info is null or cbSize is too small.
VEXASSL_API HRESULT DllGetVersion(DLLVERSIONINFO* info);

// Returns the fourth number of the version. The first three are part of the name, so a host that
// links or looks up this name runs with this version or not at all.
VEXASSL_API std::int32_t moduleVersion_VexaSsl_22_0_3();

} // extern "C"

} // namespace VexaSsl
