#include "common/Text.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

namespace {

constexpr char32_t replacement = 0xFFFD;
constexpr char32_t lastCharacter = 0x10FFFF;

constexpr bool isHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

constexpr bool isLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

constexpr bool isCharacter(char32_t point) {
    return point <= lastCharacter && !isHighSurrogate(point) && !isLowSurrogate(point);
}

constexpr bool isControl(char32_t point) {
    return (point < 0x20 && point != U'\t') || (point >= 0x7F && point < 0xA0);
}

// Characters that make a name look like another one.
constexpr bool turnsDirection(char32_t point) {
    return (point >= 0x202A && point <= 0x202E) || (point >= 0x2066 && point <= 0x2069) ||
           point == 0x200E || point == 0x200F || point == 0x061C;
}

// Returns the character as it is shown.
constexpr char32_t shown(char32_t point) {
    if (isControl(point) || turnsDirection(point)) {
        return U'?';
    }
    return isCharacter(point) ? point : replacement;
}

void appendUtf8(std::string& text, char32_t point) {
    const auto add = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (point < 0x80) {
        add(point);
    } else if (point < 0x800) {
        add(0xC0 | (point >> 6));
        add(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        add(0xE0 | (point >> 12));
        add(0x80 | ((point >> 6) & 0x3F));
        add(0x80 | (point & 0x3F));
    } else {
        add(0xF0 | (point >> 18));
        add(0x80 | ((point >> 12) & 0x3F));
        add(0x80 | ((point >> 6) & 0x3F));
        add(0x80 | (point & 0x3F));
    }
}

struct Decoded {
    char32_t point;
    std::size_t size; // in bytes; 0: no valid character starts here
};

// Returns the first character of non-empty bytes. Overlong encodings are invalid.
Decoded decode(std::string_view bytes) {
    const auto at = [bytes](std::size_t index) {
        return static_cast<char32_t>(static_cast<unsigned char>(bytes[index]));
    };
    const char32_t first = at(0);
    if (first < 0x80) {
        return {first, 1};
    }
    const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (first < 0xC0 || first >= 0xF8 || bytes.size() < size) {
        return {replacement, 0};
    }
    char32_t point = first & (0x7FU >> size);
    for (std::size_t index = 1; index < size; ++index) {
        if ((at(index) & 0xC0) != 0x80) {
            return {replacement, 0};
        }
        point = (point << 6) | (at(index) & 0x3F);
    }
    if (point < smallest[size] || !isCharacter(point)) {
        return {replacement, 0};
    }
    return {point, size};
}

} // namespace

std::u32string characters(std::wstring_view text) {
    std::u32string result;
    result.reserve(text.size());
    for (std::size_t index = 0; index < text.size(); ++index) {
        auto point = static_cast<char32_t>(text[index]);
        const char32_t next = index + 1 < text.size() ? static_cast<char32_t>(text[index + 1]) : 0;
        if (isHighSurrogate(point) && isLowSurrogate(next)) {
            point = 0x10000 + ((point - 0xD800) << 10) + (next - 0xDC00);
            ++index;
        }
        result.push_back(isCharacter(point) ? point : replacement);
    }
    return result;
}

std::u32string characters(std::string_view bytes) {
    std::u32string result;
    result.reserve(bytes.size());
    while (!bytes.empty()) {
        const Decoded next = decode(bytes);
        result.push_back(next.point);
        bytes.remove_prefix(std::max<std::size_t>(next.size, 1));
    }
    return result;
}

bool isUtf8(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t size = decode(bytes).size;
        if (size == 0) {
            return false;
        }
        bytes.remove_prefix(size);
    }
    return true;
}

std::string toUtf8(std::u32string_view text) {
    std::string result;
    result.reserve(text.size());
    for (const char32_t point : text) {
        appendUtf8(result, isCharacter(point) ? point : replacement);
    }
    return result;
}

std::string printableText(std::u32string_view text) {
    std::string result;
    result.reserve(text.size());
    for (const char32_t point : text) {
        if (point != 0) {
            appendUtf8(result, shown(point));
        }
    }
    return result;
}

std::string printableText(std::wstring_view text) {
    return printableText(characters(text));
}

std::string printableText(std::string_view bytes) {
    return printableText(characters(bytes));
}

std::string shellWord(std::string_view word) {
    constexpr std::string_view plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
        "@%_+=:,./-";
    if (!word.empty() && word.find_first_not_of(plain) == std::string_view::npos) {
        return std::string(word);
    }
    std::string quoted = "'";
    for (const char unit : word) {
        quoted += unit == '\'' ? "'\\''" : std::string(1, unit);
    }
    return quoted + "'";
}

std::wstring widenedBytes(std::string_view bytes) {
    std::wstring result;
    result.reserve(bytes.size());
    for (const char byte : bytes) {
        result.push_back(static_cast<wchar_t>(static_cast<unsigned char>(byte)));
    }
    return result;
}

std::wstring wideName(std::string_view name) {
    std::wstring wide;
    for (const char32_t point : characters(name)) {
        wide.push_back(point <= 0xFFFF ? static_cast<wchar_t>(point) : L'?');
    }
    return wide;
}

std::string pathText(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

std::filesystem::path pathOfText(std::string_view text) {
    return std::u8string(text.begin(), text.end());
}

std::u32string charactersOfFileText(std::wstring_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (const wchar_t unit : text) {
        if (static_cast<char32_t>(unit) > 0xFF) {
            return characters(text);
        }
        bytes.push_back(static_cast<char>(unit));
    }
    return isUtf8(bytes) ? characters(std::string_view(bytes)) : characters(text);
}

} // namespace VexaSsl::tool
