// The library's name and version, for C++ and for the resource compiler alike, which is why these
// are macros. The first three numbers also stand in the name of an exported function: whoever
// changes one of them renames that function too.
#pragma once

#define VEXASSL_MAJOR 22
#define VEXASSL_MINOR 0
#define VEXASSL_BUILD 3
#define VEXASSL_REVISION 2
#define VEXASSL_VERSION_TEXT "22.0.3.2"

#define VEXASSL_NAME "VexaSsl"
#define VEXASSL_PRODUCT "VEXA"
#define VEXASSL_DESCRIPTION "VEXA SSL library"

// The language and code page that the texts of the version record are filed under.
#define VEXASSL_TRANSLATION "040904E4"
