#include "config/LineExpressions.h"

namespace VexaSsl::LineExpressions {

namespace {

using View = std::wstring_view;

constexpr View lineTerminators = L"\n\r\u2028\u2029";

// The first result of find over the pieces between line terminators, from left to right.
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

// When the first "[" has no "]" far enough behind it, no later one has.
std::optional<View> sectionNameIn(View segment) {
    const std::size_t open = segment.find(L'[');
    const std::size_t close = segment.rfind(L']');
    if (open == View::npos || close == View::npos || close < open + 2) {
        return std::nullopt;
    }
    return segment.substr(open + 1, close - open - 1);
}

// The leftmost match starts where the segment starts, whatever stands there, a "=" included.
std::optional<KeyAndValue> keyAndValueIn(View segment) {
    constexpr std::size_t shortest = 3;
    if (segment.size() < shortest) {
        return std::nullopt;
    }
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

std::optional<View> findSectionName(View line) {
    return findInSegments(line, sectionNameIn);
}

std::optional<KeyAndValue> findKeyAndValue(View line) {
    return findInSegments(line, keyAndValueIn);
}

bool isBlank(View line) {
    return line.empty();
}

View segmentAt(View text, std::size_t position) {
    const std::size_t end = text.find_first_of(lineTerminators, position);
    return text.substr(position, end == View::npos ? View::npos : end - position);
}

} // namespace VexaSsl::LineExpressions
