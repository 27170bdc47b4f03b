// The Windows base types and constants of src/platform/contract/WindowsBase.h. As in all headers of
// this folder, names, field order and values are those of Microsoft's documentation, and structures
// have the fields that the core or the binding uses.
#pragma once

#include "VexaPlatform/WinsockShapes.h" // IWYU pragma: export

#include <cstdarg>

namespace VexaSsl {

using UINT = unsigned int;
using HMODULE = void*;
using HLOCAL = void*;
using HWND = void*;

inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_UTF8 = 65001;
inline constexpr DWORD WC_DEFAULTCHAR = 0x40;
inline constexpr DWORD WC_COMPOSITECHECK = 0x200;
inline constexpr DWORD WC_NO_BEST_FIT_CHARS = 0x400;

inline constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x100;
inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;
inline constexpr DWORD FORMAT_MESSAGE_MAX_WIDTH_MASK = 0xFF;

inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;
inline constexpr DWORD ERROR_MORE_DATA = 234;

enum COMPUTER_NAME_FORMAT {
    ComputerNameNetBIOS = 0,
    ComputerNameDnsHostname = 1,
    ComputerNameDnsDomain = 2,
    ComputerNameDnsFullyQualified = 3,
};

} // namespace VexaSsl
