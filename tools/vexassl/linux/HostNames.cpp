#include "common/HostNames.h"

#include <idn2.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

namespace VexaSsl::tool {

std::optional<std::string> asciiHostName(const std::string& name) {
    const auto isAscii = [](char unit) { return static_cast<unsigned char>(unit) < 0x80; };
    if (std::all_of(name.begin(), name.end(), isAscii)) {
        return name;
    }
    char* labels = nullptr;
    if (idn2_to_ascii_8z(name.c_str(), &labels, IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL) != IDN2_OK) {
        return std::nullopt;
    }
    const std::unique_ptr<char, decltype(&idn2_free)> owner(labels, idn2_free);
    return std::string(labels);
}

} // namespace VexaSsl::tool
