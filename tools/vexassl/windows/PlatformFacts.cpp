#include "common/PlatformFacts.h"

namespace VexaSsl::tool {

PlatformFacts platformFacts() {
    return {"windows", "Schannel, the system's own",
            "the local machine's stores: Personal, Trusted Root Certification Authorities"};
}

} // namespace VexaSsl::tool
