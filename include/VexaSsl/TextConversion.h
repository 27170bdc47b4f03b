// The two text conversions of the library. They are not inverses. Empty text is returned for empty
// text and for a failure.
#pragma once

#include "VexaSsl/Export.h"

#include <string>

namespace VexaSsl {

// Converts UTF-8. The result has as many units as text has bytes: a multi-byte sequence leaves zero
// units at the end.
VEXASSL_API std::wstring convertNarrowToWide(const std::string& text);

// Converts to the system's ANSI code page (Windows-1252 on Linux), with its default character for
// what the code page lacks. Fails when the converted text has more bytes than text has units.
VEXASSL_API std::string convertWideToNarrow(const std::wstring& text);

} // namespace VexaSsl
