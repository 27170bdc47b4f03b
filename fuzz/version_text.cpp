// The version that the library reads out of its own file: the record's fixed numbers, or the
// numbers in its text when those are zero.
#include "Harness.h"
#include "VexaSsl/ModuleVersion.h"
#include "fakes/ScriptedPlatform.h"
#include "frame/Module.h"
#include "frame/ModuleVersion.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

using namespace VexaSsl;

// One block, in which the text follows the fixed numbers without a byte of room behind it.
class File {
public:
    File(std::string_view fixedBytes, std::string_view versionText) : text(versionText) {
        std::memcpy(&fixed, fixedBytes.data(), std::min(fixedBytes.size(), sizeof fixed));
        platform.GetModuleFileNameA = [](HMODULE, char* buffer, DWORD) {
            std::strcpy(buffer, "library");
            return DWORD{7};
        };
        platform.GetFileVersionInfoSizeA = [this](const char*, DWORD*) {
            return static_cast<DWORD>(sizeof fixed + text.size());
        };
        platform.GetFileVersionInfoA = [this](const char*, DWORD, DWORD, void* block) {
            std::memcpy(block, &fixed, sizeof fixed);
            text.copy(static_cast<char*>(block) + sizeof fixed, text.size());
            return BOOL{TRUE};
        };
        platform.VerQueryValueA = [this](const void* block, const char* path, void** value,
                                         UINT* length) {
            const bool isFixed = std::string_view(path) == "\\";
            char* const start = static_cast<char*>(const_cast<void*>(block));
            *value = isFixed ? start : start + sizeof fixed;
            *length = static_cast<UINT>(isFixed ? sizeof fixed : text.size());
            return BOOL{TRUE};
        };
    }

    test::ScriptedPlatform platform;
    VS_FIXEDFILEINFO fixed{};
    const std::string text;
};

// The number at the front, in 32 bits, and one character behind it.
DWORD expectedNumber(std::string_view& text) {
    const std::string_view digits =
        text.substr(0, std::min(text.find_first_not_of("0123456789"), text.size()));
    DWORD number = 0;
    for (const char digit : digits) {
        number = static_cast<DWORD>(number * 10ULL + static_cast<DWORD>(digit - '0'));
    }
    text.remove_prefix(std::min(digits.size() + 1, text.size()));
    return number;
}

void requireVersion(const File& file, const DLLVERSIONINFO& info) {
    const bool hasFixed =
        file.fixed.dwSignature == VS_FFI_SIGNATURE && file.fixed.dwFileVersionMS != 0;
    if (hasFixed) {
        fuzz::require(info.dwMajorVersion == file.fixed.dwFileVersionMS >> 16 &&
                          info.dwMinorVersion == (file.fixed.dwFileVersionMS & 0xFFFF) &&
                          info.dwBuildNumber == file.fixed.dwFileVersionLS >> 16,
                      "fixed numbers count before the text");
    } else if (file.fixed.dwSignature == VS_FFI_SIGNATURE) {
        std::string_view text = file.text;
        const DWORD major = expectedNumber(text);
        const DWORD minor = expectedNumber(text);
        const DWORD build = expectedNumber(text);
        fuzz::require(info.dwMajorVersion == major && info.dwMinorVersion == minor &&
                          info.dwBuildNumber == build,
                      "the text's first three numbers count");
    } else {
        fuzz::require(info.dwMajorVersion == VEXASSL_MAJOR && info.dwBuildNumber == VEXASSL_BUILD,
                      "without a sound record the numbers built in count");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::string_view fixedBytes = input.take(sizeof(VS_FIXEDFILEINFO));
    const File file(fixedBytes, input.rest());
    DLLVERSIONINFO info{};
    info.cbSize = sizeof info;
    fuzz::require(DllGetVersion(&info) == 0, "the question is answered");
    requireVersion(file, info);
    return 0;
}
