#include "contract/support/System.h"

#include <windows.h>

#include <atomic>
#include <cstdlib>

namespace VexaSsl::test {

const bool controlZEndsTextFiles = true;

std::filesystem::path pathOfThisProgram() {
    wchar_t path[4096] = {};
    DWORD size = 4096;
    ::QueryFullProcessImageNameW(::GetCurrentProcess(), 0, path, &size);
    return std::wstring(path, size);
}

std::wstring userOfThisProcess() {
    const wchar_t* name = ::_wgetenv(L"USERNAME");
    return name ? name : L"";
}

std::filesystem::path makeTemporaryFolder() {
    static std::atomic<unsigned> folders{0};
    const std::wstring name =
        L"vexassl-" + std::to_wstring(::GetCurrentProcessId()) + L"-" + std::to_wstring(++folders);
    const std::filesystem::path path = std::filesystem::temp_directory_path() / name;
    std::filesystem::remove_all(path); // left by an earlier process with the same number
    std::filesystem::create_directory(path);
    return path;
}

std::string reasonOfSecurityFailure() {
    return {};
}

} // namespace VexaSsl::test
