// Terminals. Implemented for each system.
#pragma once

#include <cstdio>

namespace VexaSsl::tool {

// Whether the stream is a terminal rather than a file or a pipe.
bool isTerminal(std::FILE* stream);

} // namespace VexaSsl::tool
