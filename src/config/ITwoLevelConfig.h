// A source of settings: a text for a section and a key in it. Empty text means absent.
#pragma once

#include <string>

namespace VexaSsl {

class ITwoLevelConfig {
public:
    virtual ~ITwoLevelConfig() = default;

    // The value; empty when the section or the key doesn't exist.
    virtual std::wstring getValue(const std::wstring& section, const std::wstring& key) const = 0;
};

} // namespace VexaSsl
