#include "common/Terminal.h"

#include <unistd.h>

#include <cstdio>

namespace VexaSsl::tool {

bool isTerminal(std::FILE* stream) {
    return ::isatty(::fileno(stream)) == 1;
}

} // namespace VexaSsl::tool
