#include "frame/Module.h"

#include "frame/ModuleVersion.h"

namespace VexaSsl {

#define VEXASSL_WIDENED(text) L##text
#define VEXASSL_WIDE(text) VEXASSL_WIDENED(text)

constinit Module vexaSslModule(VEXASSL_WIDE(VEXASSL_NAME), VEXASSL_WIDE(VEXASSL_VERSION_TEXT));
constinit bool moduleInitialised = false;

// For tools that look for versions in files: no code reads it. A narrow text, since they look for
// bytes, and not internal to this file, since the compiler would leave it out then.
extern const char moduleMarker[];
const char moduleMarker[] = "@(#)" VEXASSL_PRODUCT " unicode on " VEXASSL_PLATFORM_TAG
                            ", " VEXASSL_NAME " " VEXASSL_VERSION_TEXT " " __DATE__ " " __TIME__;

} // namespace VexaSsl
