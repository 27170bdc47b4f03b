#include "frame/Module.h"

#include "frame/ModuleVersion.h"

namespace VexaSsl {

#define VEXASSL_WIDENED(text) L##text
#define VEXASSL_WIDE(text) VEXASSL_WIDENED(text)

constexpr Module vexaSslModule(VEXASSL_WIDE(VEXASSL_NAME), VEXASSL_WIDE(VEXASSL_VERSION_TEXT));
constinit bool moduleInitialised = false;

// For tools that search files for versions. With external linkage, so that the compiler keeps it.
extern const char moduleMarker[];
const char moduleMarker[] = "@(#)" VEXASSL_PRODUCT " unicode on " VEXASSL_PLATFORM_TAG
                            ", " VEXASSL_NAME " " VEXASSL_VERSION_TEXT " " __DATE__ " " __TIME__;

} // namespace VexaSsl
