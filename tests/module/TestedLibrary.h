#pragma once

#include <cstdlib>

namespace VexaSsl::test {

// The library that was built, or the one that the environment names.
inline const char* testedLibrary() {
    const char* other = std::getenv("VEXASSL_LIBRARY");
    return other != nullptr ? other : VEXASSL_LIBRARY;
}

} // namespace VexaSsl::test
