// How a shared object carries its version record where there are no resources: a section of the
// file, read back from the file as a Windows resource is. The section is the head and, behind it, a
// row of zero-terminated texts, key and value in turn, up to the size that the head tells.
//
// Plain data.
#pragma once

#include "ModuleShapes.h"

#define VEXASSL_VERSION_SECTION ".vexassl.version"

namespace VexaSsl {

struct VersionRecordHead {
    DWORD size = 0;            // of the whole record in bytes
    char translation[12] = {}; // language and code page of the texts, as in their paths
    VS_FIXEDFILEINFO fixed;
};

} // namespace VexaSsl
