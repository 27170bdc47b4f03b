// Which build of the library a host runs with. Both functions are exported under their plain names,
// so a host may also look them up at run time; neither needs anything made or configured before.
//
// Any thread may call them.
#pragma once

#include "VexaSsl/Export.h"
#include "VexaSsl/Sockets.h" // IWYU pragma: keep: the header below asks for it

#include <cstdint>

#if defined(_WIN32)
#include <shlwapi.h>
#else
#include "VexaPlatform/VersionShapes.h" // IWYU pragma: export
#endif

namespace VexaSsl {

extern "C" {

// The version of the library's file. Set info->cbSize to sizeof(DLLVERSIONINFO) before.
//
// Result: -1 and nothing written when info is null or too small; else 0. The numbers are those of
// the file's version record, or the ones built in when the record can't be read. The fourth number
// of a version 1.2.3.4 lands in dwPlatformID, which is a platform's number elsewhere: don't take it
// for one.
VEXASSL_API HRESULT DllGetVersion(DLLVERSIONINFO* info);

// The fourth number of the version. The first three are part of the name, so a host that links or
// looks up this name runs with this version or not at all.
VEXASSL_API std::int32_t moduleVersion_VexaSsl_22_0_3();

} // extern "C"

} // namespace VexaSsl
