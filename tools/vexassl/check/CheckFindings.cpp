#include "check/CheckFindings.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <unordered_map>
#include <utility>

namespace VexaSsl::tool {

namespace {

constexpr std::size_t mostKept = 100000; // of a kind
constexpr std::size_t mostShown = 20;

} // namespace

void FindingList::add(Finding finding) {
    if (++counts[finding.id] <= mostKept) {
        kept.push_back(std::move(finding));
    }
}

Findings FindingList::shown() const {
    Findings ordered = kept;
    std::stable_sort(ordered.begin(), ordered.end(),
                     [](const Finding& a, const Finding& b) { return a.line < b.line; });
    Findings result;
    std::unordered_map<std::string, std::size_t> seen;
    for (const Finding& finding : ordered) {
        const std::size_t number = ++seen[finding.id];
        if (number <= mostShown) {
            result.push_back(finding);
        } else if (number == mostShown + 1) {
            Finding rest = finding;
            const std::size_t count = counts.at(finding.id);
            rest.text = (count < mostKept ? "" : "at least ") + std::to_string(count - mostShown) +
                        " more like these";
            result.push_back(std::move(rest));
        }
    }
    return result;
}

} // namespace VexaSsl::tool
