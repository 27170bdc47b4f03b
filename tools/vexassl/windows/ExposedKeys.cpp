#include "common/ExposedKeys.h"

#include <string>
#include <vector>

namespace VexaSsl::tool {

std::vector<std::string> exposedKeys() {
    return {};
}

} // namespace VexaSsl::tool
