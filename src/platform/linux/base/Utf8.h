// Conversion between UTF-8 and wide text, whose units are whole code points. Any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace VexaSsl::linux {

inline constexpr char32_t replacementCharacter = 0xFFFD;
inline constexpr char32_t invalidSequence = 0xFFFFFFFF; // not a code point

inline bool isScalarValue(char32_t codePoint) noexcept {
    const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    return codePoint <= 0x10FFFF && !surrogate;
}

// Removes one code point from the front of text, which must not be empty, and returns it. Returns
// invalidSequence for an invalid sequence, and removes at least one byte, up to the next byte that
// can't continue the sequence.
inline char32_t takeCodePoint(std::string_view& text) noexcept {
    const auto lead = static_cast<unsigned char>(text.front());
    text.remove_prefix(1);
    if (lead < 0x80) {
        return lead;
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return invalidSequence;
    }
    const int following = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    char32_t codePoint = lead & (0x3Fu >> following);
    // The bounds of the second byte exclude overlong forms, surrogates and values above the last
    // code point.
    unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    for (int i = 0; i < following; ++i) {
        if (text.empty()) {
            return invalidSequence;
        }
        const auto byte = static_cast<unsigned char>(text.front());
        if (byte < low || byte > high) {
            return invalidSequence;
        }
        codePoint = codePoint << 6 | (byte & 0x3Fu);
        text.remove_prefix(1);
        low = 0x80;
        high = 0xBF;
    }
    return codePoint;
}

struct Utf8Sequence {
    char bytes[4] = {};
    std::size_t size = 0;
};

// A surrogate or a value above the last code point becomes U+FFFD.
inline Utf8Sequence encodeUtf8(char32_t codePoint) noexcept {
    if (!isScalarValue(codePoint)) {
        codePoint = replacementCharacter;
    }
    const auto tail = [codePoint](int shift) {
        return static_cast<char>(static_cast<unsigned char>(0x80 | (codePoint >> shift & 0x3F)));
    };
    const auto head = [codePoint](unsigned mark, int shift) {
        return static_cast<char>(static_cast<unsigned char>(mark | codePoint >> shift));
    };
    if (codePoint < 0x80) {
        return {{head(0, 0)}, 1};
    }
    if (codePoint < 0x800) {
        return {{head(0xC0, 6), tail(0)}, 2};
    }
    if (codePoint < 0x10000) {
        return {{head(0xE0, 12), tail(6), tail(0)}, 3};
    }
    return {{head(0xF0, 18), tail(12), tail(6), tail(0)}, 4};
}

// An invalid sequence becomes U+FFFD.
inline std::wstring utf8ToWide(std::string_view text) {
    std::wstring wide;
    wide.reserve(text.size());
    while (!text.empty()) {
        const char32_t codePoint = takeCodePoint(text);
        wide +=
            static_cast<wchar_t>(codePoint == invalidSequence ? replacementCharacter : codePoint);
    }
    return wide;
}

inline std::string wideToUtf8(std::wstring_view wide) {
    std::string text;
    text.reserve(wide.size());
    for (const wchar_t unit : wide) {
        const Utf8Sequence sequence = encodeUtf8(static_cast<char32_t>(unit));
        text.append(sequence.bytes, sequence.size);
    }
    return text;
}

} // namespace VexaSsl::linux
