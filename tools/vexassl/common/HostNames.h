// Host names as DNS and certificates have them. Implemented for each system, with its own library.
//
// Any thread.
#pragma once

#include <optional>
#include <string>

namespace VexaSsl::tool {

// Returns the A-labels, "xn--mller-kva.example", of a name in UTF-8; a name in ASCII unchanged.
// Returns nothing for what is no host name.
std::optional<std::string> asciiHostName(const std::string& name);

} // namespace VexaSsl::tool
