// The Windows types and constants of modules and version records.
#pragma once

#include "BaseShapes.h"                 // IWYU pragma: export
#include "VexaPlatform/VersionShapes.h" // IWYU pragma: export

// The target of this build, for tools that search the library's file for it.
#define VEXASSL_PLATFORM_TAG "x64-gnu-linux64"

namespace VexaSsl {

using HINSTANCE = HMODULE;
using FARPROC = void (*)();

inline constexpr DWORD DLL_PROCESS_DETACH = 0;
inline constexpr DWORD DLL_PROCESS_ATTACH = 1;
inline constexpr DWORD DLL_THREAD_ATTACH = 2;
inline constexpr DWORD DLL_THREAD_DETACH = 3;

inline constexpr DWORD VS_FFI_SIGNATURE = 0xFEEF04BD;
inline constexpr DWORD VS_FFI_STRUCVERSION = 0x00010000;
inline constexpr DWORD VS_FFI_FILEFLAGSMASK = 0x3F;
inline constexpr DWORD VS_FF_PRERELEASE = 2;
inline constexpr DWORD VOS__WINDOWS32 = 4;
inline constexpr DWORD VFT_APP = 1;
inline constexpr DWORD VFT2_UNKNOWN = 0;

// The numeric part of a version record.
struct VS_FIXEDFILEINFO {
    DWORD dwSignature = 0;
    DWORD dwStrucVersion = 0;
    DWORD dwFileVersionMS = 0;
    DWORD dwFileVersionLS = 0;
    DWORD dwProductVersionMS = 0;
    DWORD dwProductVersionLS = 0;
    DWORD dwFileFlagsMask = 0;
    DWORD dwFileFlags = 0;
    DWORD dwFileOS = 0;
    DWORD dwFileType = 0;
    DWORD dwFileSubtype = 0;
    DWORD dwFileDateMS = 0;
    DWORD dwFileDateLS = 0;
};

} // namespace VexaSsl
