// The version record of the shared object, with the keys and numbers of the version resource on
// Windows, those of the system and file type included, so that one tool can compare both.
// DllGetVersion reads it from the file.
#include "VersionRecord.h"

#include "frame/ModuleVersion.h"

namespace VexaSsl {

namespace {

// The last value ends with the literal.
#define VEXASSL_VERSION_TEXTS                                                                      \
    "Build Type\0" VEXASSL_PLATFORM_TAG "-ansi release build\0"                                    \
    "FileDescription\0" VEXASSL_DESCRIPTION "\0"                                                   \
    "FileVersion\0" VEXASSL_VERSION_TEXT "\0"                                                      \
    "InternalName\0" VEXASSL_NAME "\0"                                                             \
    "OriginalFilename\0"                                                                           \
    "libVexaSsl.so.22\0"                                                                           \
    "ProductName\0" VEXASSL_PRODUCT "\0"                                                           \
    "ProductVersion\0" VEXASSL_VERSION_TEXT

struct LibraryRecord {
    VersionRecordHeader head;
    char texts[sizeof VEXASSL_VERSION_TEXTS];
};

} // namespace

[[gnu::section(VEXASSL_VERSION_SECTION), gnu::used]] const LibraryRecord libraryRecord = {
    .head = {.size = sizeof(LibraryRecord),
             .translation = VEXASSL_TRANSLATION,
             .fixed = {.dwSignature = VS_FFI_SIGNATURE,
                       .dwStrucVersion = VS_FFI_STRUCVERSION,
                       .dwFileVersionMS = VEXASSL_MAJOR << 16 | VEXASSL_MINOR,
                       .dwFileVersionLS = VEXASSL_BUILD << 16 | VEXASSL_REVISION,
                       .dwProductVersionMS = VEXASSL_MAJOR << 16 | VEXASSL_MINOR,
                       .dwProductVersionLS = VEXASSL_BUILD << 16 | VEXASSL_REVISION,
                       .dwFileFlagsMask = VS_FFI_FILEFLAGSMASK,
                       .dwFileFlags = VS_FF_PRERELEASE,
                       .dwFileOS = VOS__WINDOWS32,
                       .dwFileType = VFT_APP,
                       .dwFileSubtype = VFT2_UNKNOWN,
                       .dwFileDateMS = 0,
                       .dwFileDateLS = 0}},
    .texts = VEXASSL_VERSION_TEXTS,
};

} // namespace VexaSsl
