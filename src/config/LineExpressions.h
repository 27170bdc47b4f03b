// The three regular expressions of the file format, with the results of the ECMAScript grammar, in
// one pass and without recursion. (The standard library's engine recurses for each character, so a
// hostile file would overflow a small stack, and takes quadratic time for a line of "[" only.)
//
// A dot doesn't match the line terminators LF, CR, U+2028 and U+2029, so a match doesn't contain
// them. Results are views into the line. Threads: any.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace VexaSsl::LineExpressions {

struct KeyAndValue {
    std::wstring_view key;
    std::wstring_view value;
};

// Whether "\[(.+)\]" matches the whole line.
bool isSectionHeader(std::wstring_view line);

// Searches for "\[(.+)\]" and returns the name in the leftmost match, which ends at the last "]"
// before a line terminator.
std::optional<std::wstring_view> findSectionName(std::wstring_view line);

// Searches for "(.+)=(.+)". The delimiter of the leftmost match is the last "=" that is followed by
// a value.
std::optional<KeyAndValue> findKeyAndValue(std::wstring_view line);

// Whether "$[\s]*^" matches: only for a line without units, not for a line of spaces.
bool isEmpty(std::wstring_view line);

// Returns the part of text from position up to the next line terminator or the end.
std::wstring_view segmentAt(std::wstring_view text, std::size_t position);

} // namespace VexaSsl::LineExpressions
