// A source of settings: a text for each section and key.
#pragma once

#include <string>

namespace VexaSsl {

class ITwoLevelConfig {
public:
    virtual ~ITwoLevelConfig() = default;

    // Returns the value, or an empty text if it is missing.
    virtual std::wstring getValue(const std::wstring& section, const std::wstring& key) const = 0;
};

} // namespace VexaSsl
