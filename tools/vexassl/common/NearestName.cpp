#include "common/NearestName.h"

#include <algorithm>
#include <cstddef>
#include <cwctype>
#include <optional>
#include <string>
#include <vector>

namespace VexaSsl::tool {

namespace {

constexpr std::size_t longestName = 80; // that is compared

std::wstring folded(const std::wstring& text) {
    std::wstring result = text;
    std::transform(result.begin(), result.end(), result.begin(), [](wchar_t unit) {
        return static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(unit)));
    });
    return result;
}

// Returns the edit distance: how many characters must be inserted, deleted or replaced.
std::size_t distance(const std::wstring& left, const std::wstring& right) {
    std::vector<std::size_t> row(right.size() + 1);
    for (std::size_t column = 0; column < row.size(); ++column) {
        row[column] = column;
    }
    for (std::size_t line = 0; line < left.size(); ++line) {
        std::size_t diagonal = row[0];
        row[0] = line + 1;
        for (std::size_t column = 0; column < right.size(); ++column) {
            const std::size_t replaced = diagonal + (left[line] == right[column] ? 0 : 1);
            diagonal = row[column + 1];
            row[column + 1] = std::min({replaced, row[column] + 1, diagonal + 1});
        }
    }
    return row.back();
}

} // namespace

std::optional<std::wstring> nearestName(const std::wstring& name,
                                        const std::vector<std::wstring>& known) {
    std::optional<std::wstring> best;
    std::size_t fewest = longestName;
    if (name.size() > longestName) {
        return best;
    }
    for (const std::wstring& candidate : known) {
        const std::size_t changes = distance(folded(name), folded(candidate));
        if (changes < fewest && changes * 3 <= candidate.size()) {
            fewest = changes;
            best = candidate;
        }
    }
    return best;
}

} // namespace VexaSsl::tool
