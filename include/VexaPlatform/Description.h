// What the Linux binding is made of, for a program's line about versions.
#pragma once

#include <string>

namespace VexaSsl::platform {

// Both are for people to read.
struct Description {
    std::string securityLibrary; // as it calls itself: name, version and date
    std::string builtFor;        // the one that the platform was compiled against
};

// Any thread may call it. The security library is the one that the process really runs with.
Description describePlatform();

} // namespace VexaSsl::platform
