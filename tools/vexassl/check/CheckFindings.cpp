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

// A wrong encoding, seen in the first line, is the cause of whatever else is wrong.
bool isOfTheWholeFile(const Finding& finding) {
    return finding.line == 1 &&
           (finding.id == "byte-order-mark" || finding.id == "sixteen-bit-text" ||
            finding.id == "zero-character");
}

} // namespace

void FindingList::add(Finding finding) {
    if (++counts[finding.id] <= mostKept) {
        kept.push_back(std::move(finding));
    }
}

Findings FindingList::shown() const {
    Findings ordered = kept;
    std::stable_sort(ordered.begin(), ordered.end(), [](const Finding& a, const Finding& b) {
        return std::pair(!isOfTheWholeFile(a), a.line) < std::pair(!isOfTheWholeFile(b), b.line);
    });
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
