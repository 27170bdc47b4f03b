// What the tool tells of the system beneath the library. One source a system.
#pragma once

#include <string>

namespace VexaSsl::tool {

struct PlatformFacts {
    std::string binding;         // "linux" or "windows"
    std::string securityLibrary; // what does the TLS
    std::string certificates;    // where certificates come from by default
};

PlatformFacts platformFacts();

// What the security library reported when it last failed in the calling thread, for people to read;
// empty where its statuses say all there is.
std::string securityFailure();

} // namespace VexaSsl::tool
