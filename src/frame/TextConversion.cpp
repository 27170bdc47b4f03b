#include "VexaSsl/TextConversion.h"

#include "platform/contract/WindowsBase.h"
#include <cstddef>
#include <string>

namespace VexaSsl {

namespace {

constexpr DWORD narrowingFlags =
    WC_NO_BEST_FIT_CHARS // a look-alike must not stand for a character that can't be expressed
    | WC_COMPOSITECHECK  // a letter and its combining accent become one character
    | WC_DEFAULTCHAR;    // and where there is none, the code page's default character

} // namespace

// The result is not cut to the units written: size() is always the number of bytes of the text, and
// hosts rely on it. Whoever needs the text alone stops at the first zero unit behind it.
std::wstring convertNarrowToWide(const std::string& text) {
    const int length = static_cast<int>(text.size());
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    const int written =
        platform::MultiByteToWideChar(CP_UTF8, 0, text.data(), length, wide.data(), length);
    return written == 0 ? std::wstring() : wide;
}

// The buffer is never enlarged, so with a code page of several bytes a character a text may fail to
// fit and gives an empty result; like above nothing is cut.
std::string convertWideToNarrow(const std::wstring& text) {
    const int length = static_cast<int>(text.size());
    std::string narrow(static_cast<std::size_t>(length), '\0');
    const int written = platform::WideCharToMultiByte(CP_ACP, narrowingFlags, text.data(), length,
                                                      narrow.data(), length, nullptr, nullptr);
    return written == 0 ? std::string() : narrow;
}

} // namespace VexaSsl
