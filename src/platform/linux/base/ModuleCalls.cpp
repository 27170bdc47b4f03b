// Libraries that are loaded at run time. A handle is the loader's own.
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

inline constexpr DWORD errorModuleNotFound = 126;
inline constexpr DWORD errorProcedureNotFound = 127;

// A bare name is the name of a library, as linkers take it; anything else is a file's.
std::string fileOfLibrary(std::string_view name) {
    if (name.find_first_of("/.") != name.npos) {
        return std::string(name);
    }
    return "lib" + std::string(name) + ".so";
}

DWORD givePath(const std::string& path, char* buffer, DWORD size) {
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

// There are no such notices here.
BOOL DisableThreadLibraryCalls(HMODULE) {
    return TRUE;
}

// The bytes of the path as they are: they name a file to the system's own calls.
DWORD GetModuleFileNameA(HMODULE module, char* buffer, DWORD size) {
    return guarded(DWORD{0}, [&] { return givePath(modulePath(module), buffer, size); });
}

HMODULE LoadLibraryA(const char* name) {
    if (!name) {
        return failWith(errorInvalidParameter, HMODULE{nullptr});
    }
    return guarded(HMODULE{nullptr}, [&]() -> HMODULE {
        void* library = dlopen(fileOfLibrary(name).c_str(), RTLD_NOW | RTLD_LOCAL);
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
