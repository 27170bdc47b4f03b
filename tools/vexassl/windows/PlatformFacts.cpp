#include "common/PlatformFacts.h"

#include <string>

namespace VexaSsl::tool {

PlatformFacts platformFacts() {
    return {"windows", "Schannel, the system's own",
            "the local machine's stores: Personal, Trusted Root Certification Authorities"};
}

std::string securityFailure() {
    return {};
}

} // namespace VexaSsl::tool
