// DllGetVersion: the built-in numbers, replaced by those of the version record in the library's
// file.
#include "frame/Module.h"
#include "frame/ModuleVersion.h"
#include "platform/contract/WindowsBase.h"

#include "VexaSsl/ModuleVersion.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

namespace VexaSsl {

namespace {

// Without the fields of later versions of the structure.
constexpr DWORD smallestInfo = 20;
static_assert(sizeof(DLLVERSIONINFO) == smallestInfo);

constexpr DWORD fileNameCapacity = 261; // the longest ordinary path and its terminator

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

// Returns null if the file or its record can't be read, or memory runs out.
VersionBlock readVersionBlock() {
    char fileName[fileNameCapacity + 1] = {}; // a path that was cut may lack its terminator
    if (platform::GetModuleFileNameA(vexaSslModule.moduleHandle, fileName, fileNameCapacity) == 0) {
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

// The fourth number is returned as the platform. Compatibility: revision-as-platform
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

// Removes a number and the one character that follows it from the front of the text and returns the
// number. It may have no digits, and wraps at 32 bits.
DWORD takeNumber(std::string_view& text) {
    DWORD number = 0;
    std::size_t digits = 0;
    while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') {
        number = number * 10 + static_cast<DWORD>(text[digits] - '0');
        ++digits;
    }
    text.remove_prefix(std::min(digits + 1, text.size()));
    return number;
}

void takeTextNumbers(VersionBlock block, DLLVERSIONINFO& info) {
    void* value = nullptr;
    UINT length = 0;
    if (platform::VerQueryValueA(block.get(),
                                 "\\StringFileInfo\\" VEXASSL_TRANSLATION "\\FileVersion", &value,
                                 &length) == FALSE) {
        // The block is not freed. Compatibility: version-block-kept
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
