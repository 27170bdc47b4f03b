// The version that the library reads from its own file: the fixed numbers of the record, or those
// in its text when the fixed ones are zero.
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

// One block with the fixed numbers and the text at its very end.
class File {
public:
    File(std::string_view fixedBytes, std::string_view versionText) : text(versionText) {
        std::memcpy(&fixed, fixedBytes.data(), std::min(fixedBytes.size(), sizeof fixed));
        platform.GetModuleFileNameA = [](HMODULE, char* buffer, DWORD) {
            std::memcpy(buffer, "library", 8);
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

// Removes a 32-bit number and one more character from the front.
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
                      "fixed numbers have precedence over the text");
    } else if (file.fixed.dwSignature == VS_FFI_SIGNATURE) {
        std::string_view text = file.text;
        const DWORD major = expectedNumber(text);
        const DWORD minor = expectedNumber(text);
        const DWORD build = expectedNumber(text);
        fuzz::require(info.dwMajorVersion == major && info.dwMinorVersion == minor &&
                          info.dwBuildNumber == build,
                      "the first three numbers of the text are used");
    } else {
        fuzz::require(info.dwMajorVersion == VEXASSL_MAJOR && info.dwBuildNumber == VEXASSL_BUILD,
                      "without a valid record the built-in numbers are used");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::string_view fixedBytes = input.take(sizeof(VS_FIXEDFILEINFO));
    const File file(fixedBytes, input.rest());
    DLLVERSIONINFO info{};
    info.cbSize = sizeof info;
    fuzz::require(DllGetVersion(&info) == 0, "the call succeeds");
    requireVersion(file, info);
    return 0;
}
