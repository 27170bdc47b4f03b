#include "platform/contract/TextFiles.h"

#include "platform/linux/base/Utf8.h"

#include <cerrno>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <ios>
#include <istream>
#include <locale>
#include <optional>
#include <string>
#include <system_error>

namespace VexaSsl::linux {
namespace {

using FileConversion = std::codecvt<wchar_t, char, std::mbstate_t>;

bool isByte(wchar_t unit) {
    return static_cast<char32_t>(unit) <= 0xFF;
}

// One byte is one unit. The classic locale of the C++ library converts ASCII only: at the first
// byte above 0x7F the stream would fail, in a file in UTF-8 or any 8-bit encoding.
class ByteConversion : public FileConversion {
public:
    ByteConversion() : FileConversion(1) {} // 1: locales don't delete the facet

protected:
    result do_out(std::mbstate_t&, const wchar_t* from, const wchar_t* fromEnd,
                  const wchar_t*& fromNext, char* to, char* toEnd, char*& toNext) const override {
        for (; from != fromEnd && to != toEnd && isByte(*from); ++from, ++to) {
            *to = static_cast<char>(static_cast<unsigned char>(*from));
        }
        fromNext = from;
        toNext = to;
        if (from == fromEnd) {
            return ok;
        }
        return to == toEnd ? partial : error;
    }

    result do_in(std::mbstate_t&, const char* from, const char* fromEnd, const char*& fromNext,
                 wchar_t* to, wchar_t* toEnd, wchar_t*& toNext) const override {
        for (; from != fromEnd && to != toEnd; ++from, ++to) {
            *to = static_cast<wchar_t>(static_cast<unsigned char>(*from));
        }
        fromNext = from;
        toNext = to;
        return from == fromEnd ? ok : partial;
    }

    result do_unshift(std::mbstate_t&, char* to, char*, char*& toNext) const override {
        toNext = to;
        return noconv;
    }

    int do_length(std::mbstate_t&, const char* from, const char* end,
                  std::size_t maxUnits) const override {
        const auto available = static_cast<std::size_t>(end - from);
        return static_cast<int>(available < maxUnits ? available : maxUnits);
    }

    int do_encoding() const noexcept override { return 1; }
    int do_max_length() const noexcept override { return 1; }
    bool do_always_noconv() const noexcept override { return false; }
};

// Only the conversion facet is compared: a host may have changed others, for numbers or collation.
bool hasClassicConversion(const std::locale& locale) {
    return &std::use_facet<FileConversion>(locale) ==
           &std::use_facet<FileConversion>(std::locale::classic());
}

// The facet is never destroyed, as a stream may outlive all static objects. There is one for all
// streams, so none leaks when the construction of a locale throws.
std::locale fileLocale() {
    static ByteConversion& conversion = *new ByteConversion;
    const std::locale global;
    return hasClassicConversion(global) ? std::locale(global, &conversion) : global;
}

// Returns text converted by the global locale; nothing when the locale can't express it.
std::optional<std::string> narrowByLocale(const std::wstring& text) {
    const std::locale global;
    const auto& conversion = std::use_facet<FileConversion>(global);
    std::string bytes(text.size() * static_cast<std::size_t>(conversion.max_length()), '\0');
    std::mbstate_t state{};
    const wchar_t* rest = nullptr;
    char* end = nullptr;
    const auto result = conversion.out(state, text.data(), text.data() + text.size(), rest,
                                       bytes.data(), bytes.data() + bytes.size(), end);
    if (result != std::codecvt_base::ok) {
        return std::nullopt;
    }
    bytes.resize(static_cast<std::size_t>(end - bytes.data()));
    return bytes;
}

std::optional<std::wstring> widenByLocale(const std::string& bytes) {
    const std::locale global;
    const auto& conversion = std::use_facet<FileConversion>(global);
    std::wstring text(bytes.size(), L'\0');
    std::mbstate_t state{};
    const char* rest = nullptr;
    wchar_t* end = nullptr;
    const auto result = conversion.in(state, bytes.data(), bytes.data() + bytes.size(), rest,
                                      text.data(), text.data() + text.size(), end);
    if (result != std::codecvt_base::ok) {
        return std::nullopt;
    }
    text.resize(static_cast<std::size_t>(end - text.data()));
    return text;
}

// A unit above 0xFF can't come from a file read in the classic locale. The host has put it there,
// and it is encoded as UTF-8.
std::string narrowBytewise(const std::wstring& text) {
    std::string bytes;
    for (const wchar_t unit : text) {
        if (isByte(unit)) {
            bytes += static_cast<char>(static_cast<unsigned char>(unit));
            continue;
        }
        const Utf8Sequence encoded = encodeUtf8(static_cast<char32_t>(unit));
        bytes.append(encoded.bytes, encoded.size);
    }
    return bytes;
}

std::wstring widenBytewise(const std::string& bytes) {
    std::wstring text;
    text.reserve(bytes.size());
    for (const char byte : bytes) {
        text += static_cast<wchar_t>(static_cast<unsigned char>(byte));
    }
    return text;
}

// The C++ library opens a folder for reading like a file and fails only at the first read.
template <class Stream>
void failForFolder(Stream& stream, const std::filesystem::path& path) {
    std::error_code ignored;
    if (!stream.is_open() || !std::filesystem::is_directory(path, ignored)) {
        return;
    }
    stream.close();
    stream.setstate(std::ios_base::failbit);
}

// Opens the file; tries again after an interruption by a signal.
template <class Stream, class... Mode>
void openRetrying(Stream& stream, const std::filesystem::path& path, Mode... mode) {
    for (;;) {
        errno = 0;
        stream.open(path, mode...);
        if (stream.is_open() || errno != EINTR) {
            return;
        }
        stream.clear();
    }
}

} // namespace
} // namespace VexaSsl::linux

namespace VexaSsl::platform {

void openTextFile(std::wfstream& stream, const std::filesystem::path& path,
                  std::ios_base::openmode mode) {
    stream.imbue(linux::fileLocale());
    linux::openRetrying(stream, path, mode);
    linux::failForFolder(stream, path);
}

void openTextFile(std::wifstream& stream, const std::filesystem::path& path) {
    stream.imbue(linux::fileLocale());
    linux::openRetrying(stream, path);
    linux::failForFolder(stream, path);
}

bool getTextLine(std::wistream& stream, std::wstring& line) {
    if (!std::getline(stream, line)) {
        return false;
    }
    const bool endedByLineFeed = !stream.eof();
    if (endedByLineFeed && !line.empty() && line.back() == L'\r') {
        line.pop_back();
    }
    return true;
}

std::filesystem::path pathFromFileText(const std::wstring& text) {
    if (!linux::hasClassicConversion(std::locale())) {
        if (auto bytes = linux::narrowByLocale(text)) {
            return *bytes;
        }
    }
    return linux::narrowBytewise(text);
}

std::wstring pathToText(const std::filesystem::path& path) {
    if (!linux::hasClassicConversion(std::locale())) {
        if (auto text = linux::widenByLocale(path.native())) {
            return *text;
        }
    }
    return linux::widenBytewise(path.native());
}

} // namespace VexaSsl::platform
