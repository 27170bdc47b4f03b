// What the tool asks of a terminal. One source a system.
#pragma once

#include <cstdio>

namespace VexaSsl::tool {

// Whether the stream leads to a person's terminal rather than to a file or another program.
bool isTerminal(std::FILE* stream);

} // namespace VexaSsl::tool
