// Conversion between wide text and the code pages: UTF-8, and Windows-1252 as the ANSI code page. A
// wchar_t holds a whole code point.
#include "platform/contract/WindowsBase.h"

#include "platform/linux/base/BaseErrors.h"
#include "platform/linux/base/Utf8.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <limits>
#include <string_view>

namespace VexaSsl::linux {
namespace {

constexpr DWORD mbErrInvalidChars = 8;
constexpr int zeroTerminated = -1;

// The code points of the bytes 0x80 to 0x9F in Windows-1252. The five unassigned bytes map to the
// code point of the same number, as on Windows.
constexpr char32_t codePointsFrom80[32] = {
    0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178,
};

char32_t fromAnsi(unsigned char byte) noexcept {
    return byte >= 0x80 && byte < 0xA0 ? codePointsFrom80[byte - 0x80] : byte;
}

// Returns the byte, or -1 for a code point that isn't in the code page.
int toAnsi(char32_t codePoint) noexcept {
    if (codePoint < 0x80 || (codePoint >= 0xA0 && codePoint <= 0xFF)) {
        return static_cast<int>(codePoint);
    }
    const auto* found =
        std::find(std::begin(codePointsFrom80), std::end(codePointsFrom80), codePoint);
    return found == std::end(codePointsFrom80)
               ? -1
               : static_cast<int>(0x80 + (found - std::begin(codePointsFrom80)));
}

// The caller's buffer. With capacity 0 the units are only counted.
template <class Unit>
class Output {
public:
    Output(Unit* buffer, int capacity) noexcept
        : buffer(buffer), capacity(static_cast<std::size_t>(capacity)) {}

    // Copies the units if they fit, and counts them.
    void put(const Unit* units, std::size_t count) noexcept {
        if (capacity != 0 && count <= capacity - std::min(written, capacity)) {
            std::copy_n(units, count, buffer + written);
        }
        written += count;
    }
    void put(Unit unit) noexcept { put(&unit, 1); }

    // Returns the units written, or with capacity 0 the units needed; 0 when they don't fit.
    int result() const noexcept {
        if (capacity != 0 && written > capacity) {
            return failWith(ERROR_INSUFFICIENT_BUFFER, 0);
        }
        if (written > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
            return failWith(errorInvalidParameter, 0);
        }
        return static_cast<int>(written);
    }

private:
    Unit* const buffer;
    const std::size_t capacity;
    std::size_t written = 0;
};

template <class Source, class Target>
bool areValid(const Source* text, int length, const Target* buffer, int capacity) noexcept {
    const bool isValidLength = length > 0 || length == zeroTerminated;
    return text && isValidLength && capacity >= 0 && (buffer || capacity == 0);
}

int wideFromUtf8(std::string_view text, DWORD flags, Output<wchar_t> output) noexcept {
    while (!text.empty()) {
        const char32_t codePoint = takeCodePoint(text);
        if (codePoint == invalidSequence && (flags & mbErrInvalidChars)) {
            return failWith(ERROR_NO_UNICODE_TRANSLATION, 0);
        }
        output.put(
            static_cast<wchar_t>(codePoint == invalidSequence ? replacementCharacter : codePoint));
    }
    return output.result();
}

int wideFromAnsi(std::string_view text, Output<wchar_t> output) noexcept {
    for (const char byte : text) {
        output.put(static_cast<wchar_t>(fromAnsi(static_cast<unsigned char>(byte))));
    }
    return output.result();
}

int utf8FromWide(std::wstring_view text, Output<char> output) noexcept {
    for (const wchar_t unit : text) {
        const Utf8Sequence sequence = encodeUtf8(static_cast<char32_t>(unit));
        output.put(sequence.bytes, sequence.size);
    }
    return output.result();
}

int ansiFromWide(std::wstring_view text, const char* defaultCharacter, BOOL* usedDefault,
                 Output<char> output) noexcept {
    const char substitute = defaultCharacter ? *defaultCharacter : '?';
    BOOL used = FALSE;
    for (const wchar_t unit : text) {
        const int byte = toAnsi(static_cast<char32_t>(unit));
        if (byte < 0) {
            used = TRUE;
        }
        output.put(byte < 0 ? substitute : static_cast<char>(static_cast<unsigned char>(byte)));
    }
    if (usedDefault) {
        *usedDefault = used;
    }
    return output.result();
}

} // namespace
} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int length, wchar_t* buffer,
                        int capacity) {
    if (!areValid(text, length, buffer, capacity)) {
        return failWith(errorInvalidParameter, 0);
    }
    const std::string_view bytes(text, length == zeroTerminated ? std::strlen(text) + 1
                                                                : static_cast<std::size_t>(length));
    const Output<wchar_t> output(buffer, capacity);
    if (codePage == CP_UTF8) {
        return wideFromUtf8(bytes, flags, output);
    }
    if (codePage == CP_ACP) {
        return wideFromAnsi(bytes, output);
    }
    return failWith(errorInvalidParameter, 0);
}

// The flags are ignored: a unit that isn't in the code page becomes the default character, without
// best-fit mapping and without composition.
int WideCharToMultiByte(UINT codePage, DWORD, const wchar_t* text, int length, char* buffer,
                        int capacity, const char* defaultCharacter, BOOL* usedDefaultCharacter) {
    if (!areValid(text, length, buffer, capacity)) {
        return failWith(errorInvalidParameter, 0);
    }
    const std::wstring_view units(
        text, length == zeroTerminated ? std::wcslen(text) + 1 : static_cast<std::size_t>(length));
    const Output<char> output(buffer, capacity);
    if (codePage == CP_ACP) {
        return ansiFromWide(units, defaultCharacter, usedDefaultCharacter, output);
    }
    if (codePage == CP_UTF8 && !defaultCharacter && !usedDefaultCharacter) {
        return utf8FromWide(units, output);
    }
    return failWith(errorInvalidParameter, 0);
}

} // namespace VexaSsl::platform
