// The structure that DllGetVersion fills, on a system without Windows' headers: DLLVERSIONINFO of
// shlwapi.h.
#pragma once

#include "VexaPlatform/WinsockShapes.h"

namespace VexaSsl {

using HRESULT = LONG; // 0 for success, negative for failure

// A version such as 22.0.3.2.
struct DLLVERSIONINFO {
    DWORD cbSize = 0;         // set by the caller: sizeof(DLLVERSIONINFO)
    DWORD dwMajorVersion = 0; // the first number
    DWORD dwMinorVersion = 0; // the second number
    DWORD dwBuildNumber = 0;  // the third number
    DWORD dwPlatformID = 0;   // the fourth number
};

} // namespace VexaSsl
