#include "common/PlatformFacts.h"

#include "VexaPlatform/Certificates.h"
#include "VexaPlatform/Description.h"
#include "VexaPlatform/SecurityFailure.h"
#include "common/Text.h"
#include <string>

namespace VexaSsl::tool {

PlatformFacts platformFacts() {
    const platform::Description platform = platform::describePlatform();
    std::string library = platform.securityLibrary;
    if (platform.builtFor != library) {
        library += " (built for " + platform.builtFor + ")";
    }
    return {"linux", library, printableText(pathText(platform::certificateFolder()))};
}

std::string securityFailure() {
    return platform::lastSecurityFailure();
}

} // namespace VexaSsl::tool
