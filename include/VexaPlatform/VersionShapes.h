// What DllGetVersion fills, on a system whose headers don't declare it. Names and field order are
// those of Microsoft's documentation.
//
// Plain data: any thread may use any of it.
#pragma once

#include "VexaPlatform/WinsockShapes.h"

namespace VexaSsl {

using HRESULT = LONG; // 0 for success, negative for failure

// A version of four numbers.
struct DLLVERSIONINFO {
    DWORD cbSize = 0;         // the caller writes sizeof(DLLVERSIONINFO) here
    DWORD dwMajorVersion = 0; // the first
    DWORD dwMinorVersion = 0; // the second
    DWORD dwBuildNumber = 0;  // the third
    DWORD dwPlatformID = 0;   // the fourth
};

} // namespace VexaSsl
