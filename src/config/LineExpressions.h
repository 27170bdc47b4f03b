// The three fixed expressions of the file format, with exactly the results that the ECMAScript
// grammar gives them, found in one pass and without recursion: the standard library's engine
// recurses for every character, so a long line of a hostile file would overflow a small stack, and
// needs quadratic time for a line of nothing but "[".
//
// A dot stands for any unit but the line terminators LF, CR, U+2028 and U+2029; a match therefore
// lies between two of them. Results are views into the line. Any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace VexaSsl::LineExpressions {

struct KeyAndValue {
    std::wstring_view key;
    std::wstring_view value;
};

// "\[(.+)\]" on the whole line.
bool isSectionHeader(std::wstring_view line);

// "\[(.+)\]" searched for: the name of the leftmost match, which runs up to the last "]" it can
// reach.
std::optional<std::wstring_view> findSectionName(std::wstring_view line);

// "(.+)=(.+)" searched for: in the leftmost match the key runs up to the last "=" that leaves a
// unit for the value.
std::optional<KeyAndValue> findKeyAndValue(std::wstring_view line);

// "$[\s]*^", on the whole line or searched for: end and beginning must meet, so only a line without
// any unit is blank; a line of spaces is not.
bool isBlank(std::wstring_view line);

// The part of text from position up to the next line terminator or the end.
std::wstring_view segmentAt(std::wstring_view text, std::size_t position);

} // namespace VexaSsl::LineExpressions
