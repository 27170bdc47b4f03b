#include "common/HostNames.h"

#include "VexaSsl/Sockets.h"
#include "common/Text.h"

#include <algorithm>
#include <optional>
#include <string>

namespace VexaSsl::tool {

std::optional<std::string> asciiHostName(const std::string& name) {
    const auto isAscii = [](char unit) { return static_cast<unsigned char>(unit) < 0x80; };
    if (std::all_of(name.begin(), name.end(), isAscii)) {
        return name;
    }
    const std::wstring wide = wideName(name);
    wchar_t labels[256] = {}; // longer than any host name
    const int count = ::IdnToAscii(0, wide.data(), static_cast<int>(wide.size()), labels, 255);
    if (count <= 0) {
        return std::nullopt;
    }
    return std::string(labels, labels + count);
}

} // namespace VexaSsl::tool
