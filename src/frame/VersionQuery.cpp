// DllGetVersion: the numbers built in, then those of the version record in the library's own file.
#include "frame/Module.h"
#include "frame/ModuleVersion.h"
#include "platform/contract/WindowsBase.h"

#include "VexaSsl/ModuleVersion.h"

#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

namespace VexaSsl {

namespace {

// The structure without what later versions of it have added.
constexpr DWORD smallestInfo = 20;
static_assert(sizeof(DLLVERSIONINFO) == smallestInfo);

constexpr DWORD fileNameRoom = 261; // the longest path without special forms, and its end

struct Freed {
    void operator()(void* memory) const { std::free(memory); }
};
using VersionBlock = std::unique_ptr<void, Freed>;

void takeBuiltInNumbers(DLLVERSIONINFO& info) {
    info.dwMajorVersion = VEXASSL_MAJOR;
    info.dwMinorVersion = VEXASSL_MINOR;
    info.dwBuildNumber = VEXASSL_BUILD;
    info.dwPlatformID = VEXASSL_REVISION;
}

// Result: empty when the file, its record or the memory isn't to be had.
VersionBlock readVersionBlock() {
    char fileName[fileNameRoom + 1] = {}; // a path that is cut may come without its end
    if (platform::GetModuleFileNameA(vexaSslModule.moduleHandle, fileName, fileNameRoom) == 0) {
        return nullptr;
    }
    DWORD ignored = 0;
    const DWORD size = platform::GetFileVersionInfoSizeA(fileName, &ignored);
    if (size == 0) {
        return nullptr;
    }
    VersionBlock block(std::malloc(size));
    if (!block || platform::GetFileVersionInfoA(fileName, 0, size, block.get()) == FALSE) {
        return nullptr;
    }
    return block;
}

// The fourth number goes where callers expect a platform's number: hosts know it there.
void takeFixedNumbers(const VersionBlock& block, DLLVERSIONINFO& info) {
    void* value = nullptr;
    UINT length = 0;
    if (platform::VerQueryValueA(block.get(), "\\", &value, &length) == FALSE) {
        return;
    }
    const auto& fixed = *static_cast<const VS_FIXEDFILEINFO*>(value);
    if (fixed.dwSignature != VS_FFI_SIGNATURE) {
        return;
    }
    info.dwMajorVersion = fixed.dwFileVersionMS >> 16;
    info.dwMinorVersion = fixed.dwFileVersionMS & 0xFFFF;
    info.dwBuildNumber = fixed.dwFileVersionLS >> 16;
    info.dwPlatformID = fixed.dwFileVersionLS & 0xFFFF;
}

// Takes a number, which may have no digits and may overflow, and one character behind it off the
// front of the text, whatever that character is. Behind the end of the text everything is 0.
DWORD takeNumber(std::string_view& text) {
    DWORD number = 0;
    std::size_t digits = 0;
    while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') {
        number = number * 10 + static_cast<DWORD>(text[digits] - '0');
        ++digits;
    }
    text.remove_prefix(digits < text.size() ? digits + 1 : digits);
    return number;
}

void takeTextNumbers(VersionBlock block, DLLVERSIONINFO& info) {
    void* value = nullptr;
    UINT length = 0;
    if (platform::VerQueryValueA(block.get(),
                                 "\\StringFileInfo\\" VEXASSL_TRANSLATION "\\FileVersion", &value,
                                 &length) == FALSE) {
        // A record without this text is given up to the process, as it always has been: a few
        // hundred bytes a call. A host that asks often for the version of such a file should keep
        // the answer.
        static_cast<void>(block.release());
        return;
    }
    std::string_view text(static_cast<const char*>(value), length);
    info.dwMajorVersion = takeNumber(text);
    info.dwMinorVersion = takeNumber(text);
    info.dwBuildNumber = takeNumber(text);
}

} // namespace

extern "C" HRESULT DllGetVersion(DLLVERSIONINFO* info) {
    if (info == nullptr || info->cbSize < smallestInfo) {
        return -1;
    }
    takeBuiltInNumbers(*info);
    VersionBlock block = readVersionBlock();
    if (!block) {
        return 0;
    }
    takeFixedNumbers(block, *info);
    if (info->dwMajorVersion == 0 && info->dwMinorVersion == 0) {
        takeTextNumbers(std::move(block), *info);
    }
    return 0;
}

} // namespace VexaSsl
