#include "config/LineExpressions.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>

namespace VexaSsl::LineExpressions {

namespace {

using View = std::wstring_view;

// A lambda, so that it is inlined.
constexpr auto isLineTerminator = [](wchar_t unit) {
    return unit == L'\n' || unit == L'\r' || unit == L'\u2028' || unit == L'\u2029';
};

// Returns the first result of find for the segments between line terminators.
template <typename Find>
auto findInSegments(View line, Find find) -> decltype(find(line)) {
    for (std::size_t begin = 0; begin < line.size();) {
        const View segment = segmentAt(line, begin);
        if (const auto found = find(segment)) {
            return found;
        }
        begin += segment.size() + 1;
    }
    return std::nullopt;
}

// If the first "[" has no "]" after it, no later one has.
std::optional<View> sectionNameIn(View segment) {
    const std::size_t open = segment.find(L'[');
    const std::size_t close = segment.rfind(L']');
    if (open == View::npos || close == View::npos || close < open + 2) {
        return std::nullopt;
    }
    return segment.substr(open + 1, close - open - 1);
}

// The leftmost match starts with the segment, even if that starts with "=". The value has at least
// one unit; in a segment of one unit or none the subtraction wraps and finds at most the first
// unit.
std::optional<KeyAndValue> keyAndValueIn(View segment) {
    const std::size_t delimiter = segment.rfind(L'=', segment.size() - 2);
    if (delimiter == View::npos || delimiter == 0) {
        return std::nullopt;
    }
    return KeyAndValue{segment.substr(0, delimiter), segment.substr(delimiter + 1)};
}

} // namespace

bool isSectionHeader(View line) {
    constexpr std::size_t shortest = 3;
    return line.size() >= shortest && line.front() == L'[' && line.back() == L']' &&
           segmentAt(line, 0).size() == line.size();
}

// Most lines contain no "[", which is found faster than the ends of their segments.
std::optional<View> findSectionName(View line) {
    if (line.find(L'[') == View::npos) {
        return std::nullopt;
    }
    return findInSegments(line, sectionNameIn);
}

std::optional<KeyAndValue> findKeyAndValue(View line) {
    return findInSegments(line, keyAndValueIn);
}

bool isEmpty(View line) {
    return line.empty();
}

// find_first_of would call a function for each unit in some standard libraries.
View segmentAt(View text, std::size_t position) {
    const auto begin = text.begin() + static_cast<std::ptrdiff_t>(position);
    const auto end = std::find_if(begin, text.end(), isLineTerminator);
    return text.substr(position, static_cast<std::size_t>(end - begin));
}

} // namespace VexaSsl::LineExpressions
