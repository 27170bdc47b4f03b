// Libraries loaded at run time. An HMODULE is a handle of dlopen.
#include "platform/contract/WindowsBase.h"

#include "platform/linux/base/BaseErrors.h"
#include "platform/linux/base/ModulePath.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace VexaSsl::linux {
namespace {

constexpr DWORD errorModuleNotFound = 126;
constexpr DWORD errorProcedureNotFound = 127;

// A name without a slash or a dot is a library name as with ld's -l; any other is a file name.
std::string libraryFileName(std::string_view name) {
    if (name.find_first_of("/.") != name.npos) {
        return std::string(name);
    }
    return "lib" + std::string(name) + ".so";
}

DWORD copyPath(const std::string& path, char* buffer, DWORD size) {
    if (path.empty()) {
        return failWith(errorModuleNotFound, DWORD{0});
    }
    if (!buffer || size == 0) {
        return failWith(ERROR_INSUFFICIENT_BUFFER, DWORD{0});
    }
    const auto written = static_cast<DWORD>(std::min<std::size_t>(path.size(), size - 1));
    *std::copy_n(path.begin(), written, buffer) = '\0';
    return written == path.size() ? written : failWith(ERROR_INSUFFICIENT_BUFFER, size);
}

} // namespace
} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

// The loader sends no such notifications.
BOOL DisableThreadLibraryCalls(HMODULE) {
    return TRUE;
}

// The bytes of the path are not converted: the system's calls take them as they are.
DWORD GetModuleFileNameA(HMODULE module, char* buffer, DWORD size) {
    return guarded(DWORD{0}, [&] { return copyPath(modulePath(module), buffer, size); });
}

HMODULE LoadLibraryA(const char* name) {
    if (!name) {
        return failWith(errorInvalidParameter, HMODULE{nullptr});
    }
    return guarded(HMODULE{nullptr}, [&]() -> HMODULE {
        void* library = dlopen(libraryFileName(name).c_str(), RTLD_NOW | RTLD_LOCAL);
        return library ? library : failWith(errorModuleNotFound, HMODULE{nullptr});
    });
}

FARPROC GetProcAddress(HMODULE module, const char* name) {
    if (!module || !name) {
        return failWith(errorInvalidParameter, FARPROC{nullptr});
    }
    void* entry = dlsym(module, name);
    return entry ? reinterpret_cast<FARPROC>(entry)
                 : failWith(errorProcedureNotFound, FARPROC{nullptr});
}

} // namespace VexaSsl::platform
