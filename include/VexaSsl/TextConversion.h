// The two text conversions of the library. They are not each other's inverse.
//
// Both report a failure only by an empty result, throw only when memory runs out, and may be called
// from any thread.
#pragma once

#include "VexaSsl/Export.h"

#include <string>

namespace VexaSsl {

// From UTF-8. The result has as many units as text has bytes: what multi-byte sequences save stands
// as zero units at its end.
VEXASSL_API std::wstring convertNarrowToWide(const std::string& text);

// To the system's ANSI code page (Windows-1252 where there is no such setting), with its default
// character for what it can't express. A text that needs more bytes than it has units gives an
// empty result.
VEXASSL_API std::string convertWideToNarrow(const std::wstring& text);

} // namespace VexaSsl
