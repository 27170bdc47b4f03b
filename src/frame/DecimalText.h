// Fast text with numbers, for the log lines of every connection and every transfer: std::to_wstring
// uses the formatting of printf, which takes longer than the rest of such a line.
#pragma once

#include <algorithm>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>

namespace VexaSsl {

// A number in decimal, as std::to_wstring writes it.
class DecimalText {
public:
    explicit DecimalText(std::integral auto number) noexcept {
        char narrow[capacity];
        char* const end = std::to_chars(std::begin(narrow), std::end(narrow), number).ptr;
        size = static_cast<std::size_t>(std::copy(std::begin(narrow), end, digits) - digits);
    }
    operator std::wstring_view() const noexcept { return {digits, size}; }

private:
    // Of 64 bits, with a sign.
    static constexpr std::size_t capacity = std::numeric_limits<std::uint64_t>::digits10 + 2;

    wchar_t digits[capacity];
    std::size_t size;
};

// Concatenates the parts, with one allocation.
inline std::wstring joined(std::initializer_list<std::wstring_view> parts) {
    std::size_t size = 0;
    for (const std::wstring_view part : parts) {
        size += part.size();
    }
    std::wstring line;
    line.reserve(size);
    for (const std::wstring_view part : parts) {
        line.append(part);
    }
    return line;
}

// Concatenates before, the number in decimal, and after.
inline std::wstring lineAround(std::wstring_view before, std::integral auto number,
                               std::wstring_view after) {
    return joined({before, DecimalText(number), after});
}

} // namespace VexaSsl
