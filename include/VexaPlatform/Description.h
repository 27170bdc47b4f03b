// The versions of what the Linux binding uses, for a program's --version.
#pragma once

#include <string>

namespace VexaSsl::platform {

// Texts for people; their form is not fixed.
struct Description {
    std::string securityLibrary; // of the process: name, version and date
    std::string builtFor;        // the one that the binding was compiled with
};

// Returns both.
Description describePlatform();

} // namespace VexaSsl::platform
