#include "common/JsonLine.h"

#include "common/Text.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::tool {

namespace {

// Returns the letter of the short escape, or 0 when the character has none.
char shortEscape(char32_t point) {
    switch (point) {
    case U'"':
        return '"';
    case U'\\':
        return '\\';
    case U'\b':
        return 'b';
    case U'\f':
        return 'f';
    case U'\n':
        return 'n';
    case U'\r':
        return 'r';
    case U'\t':
        return 't';
    default:
        return 0;
    }
}

// Control characters, including C1, which terminals obey, and the line separators that JavaScript
// refuses in a string.
bool mustEscape(char32_t point) {
    return point < 0x20 || (point >= 0x7F && point < 0xA0) || point == 0x2028 || point == 0x2029;
}

std::string numbered(char32_t point) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text = "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) {
        text.push_back(digits[static_cast<std::size_t>((point >> shift) & 0xF)]);
    }
    return text;
}

std::string inQuotes(std::u32string_view text) {
    std::string result = "\"";
    for (const char32_t point : text) {
        if (const char letter = shortEscape(point); letter != 0) {
            result += {'\\', letter};
        } else if (mustEscape(point)) {
            result += numbered(point);
        } else {
            result += toUtf8({&point, 1});
        }
    }
    return result + "\"";
}

} // namespace

void JsonLine::begin(std::string_view name) {
    fields += fields.empty() ? "" : ",";
    fields += inQuotes(characters(name)) + ":";
}

JsonLine& JsonLine::text(std::string_view name, std::u32string_view value) {
    begin(name);
    fields += inQuotes(value);
    return *this;
}

JsonLine& JsonLine::text(std::string_view name, std::wstring_view value) {
    return text(name, characters(value));
}

JsonLine& JsonLine::text(std::string_view name, std::string_view value) {
    return text(name, characters(value));
}

JsonLine& JsonLine::text(std::string_view name, const char* value) {
    return text(name, std::string_view(value));
}

JsonLine& JsonLine::number(std::string_view name, std::int64_t value) {
    begin(name);
    fields += std::to_string(value);
    return *this;
}

JsonLine& JsonLine::boolean(std::string_view name, bool value) {
    begin(name);
    fields += value ? "true" : "false";
    return *this;
}

JsonLine& JsonLine::nothing(std::string_view name) {
    begin(name);
    fields += "null";
    return *this;
}

JsonLine& JsonLine::object(std::string_view name, const JsonLine& value) {
    begin(name);
    fields += value.str();
    return *this;
}

template <typename Values, typename Append>
JsonLine& JsonLine::appendList(std::string_view name, const Values& values, Append append) {
    begin(name);
    std::string elements;
    for (const auto& value : values) {
        elements += (elements.empty() ? "" : ",") + append(value);
    }
    fields += "[" + elements + "]";
    return *this;
}

JsonLine& JsonLine::list(std::string_view name, const std::vector<std::wstring>& values) {
    return appendList(name, values,
                      [](const std::wstring& value) { return inQuotes(characters(value)); });
}

JsonLine& JsonLine::list(std::string_view name, const std::vector<std::string>& values) {
    return appendList(name, values,
                      [](const std::string& value) { return inQuotes(characters(value)); });
}

JsonLine& JsonLine::list(std::string_view name, const std::vector<JsonLine>& values) {
    return appendList(name, values, [](const JsonLine& value) { return value.str(); });
}

} // namespace VexaSsl::tool
