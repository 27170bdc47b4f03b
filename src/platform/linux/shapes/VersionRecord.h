// The version record of a shared object: a section of the file, which takes the role of a Windows
// version resource. The section holds the header, then zero-terminated strings, key and value
// alternately, up to the size in the header.
#pragma once

#include "ModuleShapes.h"

#define VEXASSL_VERSION_SECTION ".vexassl.version"

namespace VexaSsl {

struct VersionRecordHeader {
    DWORD size = 0;            // of the whole record in bytes
    char translation[12] = {}; // language and code page of the strings, as in their paths
    VS_FIXEDFILEINFO fixed;
};

} // namespace VexaSsl
