#include "common/UnusedFiles.h"

#include <vector>

namespace VexaSsl::tool {

std::vector<UnusedFile> unusedFiles() {
    return {};
}

} // namespace VexaSsl::tool
