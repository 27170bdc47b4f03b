// Describes the system that the library runs on. Implemented for each system.
#pragma once

#include <string>

namespace VexaSsl::tool {

struct PlatformFacts {
    std::string binding;         // "linux" or "windows"
    std::string securityLibrary; // that implements TLS
    std::string certificates;    // their default location
};

PlatformFacts platformFacts();

// Returns, as printable text, what the security library reported at its last failure in the calling
// thread; empty where its statuses say everything.
std::string securityFailure();

} // namespace VexaSsl::tool
