// What DllGetVersion fills, on a system whose headers don't declare it. Names and field order are
// those of Microsoft's documentation.
//
// Plain data: any thread may use any of it.
#pragma once

#include "VexaPlatform/WinsockShapes.h"

namespace VexaSsl {

using HRESULT = LONG;

struct DLLVERSIONINFO {
    DWORD cbSize = 0; // the caller writes sizeof(DLLVERSIONINFO) here
    DWORD dwMajorVersion = 0;
    DWORD dwMinorVersion = 0;
    DWORD dwBuildNumber = 0;
    DWORD dwPlatformID = 0;
};

} // namespace VexaSsl
