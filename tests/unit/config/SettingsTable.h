// An ITwoLevelConfig with the settings of a test, which records the requests.
#pragma once

#include "config/ITwoLevelConfig.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::test {

class SettingsTable : public ITwoLevelConfig {
public:
    using Place = std::pair<std::wstring, std::wstring>;

    explicit SettingsTable(std::map<Place, std::wstring> table) : table(std::move(table)) {}

    std::wstring getValue(const std::wstring& section, const std::wstring& key) const override {
        requests.emplace_back(section, key);
        const auto entry = table.find({section, key});
        return entry == table.end() ? std::wstring() : entry->second;
    }

    mutable std::vector<Place> requests;

private:
    std::map<Place, std::wstring> table;
};

} // namespace VexaSsl::test
