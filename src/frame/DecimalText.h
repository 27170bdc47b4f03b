// Numbers in log lines that are made for every other record: std::to_wstring goes through the
// formatting of printf, which takes longer than all else that is done with such a line.
#pragma once

#include <charconv>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>

namespace VexaSsl {

// before, the number in decimal, and after, as one text. Throws std::bad_alloc.
inline std::wstring lineAround(std::wstring_view before, std::uint32_t number,
                               std::wstring_view after) {
    char digits[std::numeric_limits<std::uint32_t>::digits10 + 1];
    const char* const end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
    std::wstring line;
    line.reserve(before.size() + sizeof digits + after.size());
    line.append(before);
    for (const char* digit = digits; digit != end; ++digit) {
        line.push_back(static_cast<wchar_t>(*digit));
    }
    return line.append(after);
}

} // namespace VexaSsl
