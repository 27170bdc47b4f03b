#include "common/Terminal.h"

#include <io.h>

namespace VexaSsl::tool {

bool isTerminal(std::FILE* stream) {
    return _isatty(_fileno(stream)) != 0;
}

} // namespace VexaSsl::tool
