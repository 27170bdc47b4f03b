// The library's name and version; macros, since the resource compiler reads them too. The first
// three numbers are also part of the name of an exported function, moduleVersion_VexaSsl_22_0_3.
#pragma once

#define VEXASSL_MAJOR 22
#define VEXASSL_MINOR 0
#define VEXASSL_BUILD 3
#define VEXASSL_REVISION 2
#define VEXASSL_VERSION_TEXT "22.0.3.2"

#define VEXASSL_NAME "VexaSsl"
#define VEXASSL_PRODUCT "VEXA"
#define VEXASSL_DESCRIPTION "VEXA SSL library"

// The language and code page of the texts in the version record.
#define VEXASSL_TRANSLATION "040904E4"
