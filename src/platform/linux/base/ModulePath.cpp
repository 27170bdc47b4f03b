#include "platform/linux/base/ModulePath.h"

#include <dlfcn.h>
#include <link.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace VexaSsl::linux {

std::string executablePath() {
    constexpr std::string_view gone = " (deleted)";
    std::error_code error;
    std::string path = std::filesystem::read_symlink("/proc/self/exe", error).native();
    // An update of the host replaces its file while it runs; the name is still the old one.
    if (path.ends_with(gone) && !std::filesystem::exists(path, error)) {
        path.resize(path.size() - gone.size());
    }
    return path;
}

std::string modulePath(HMODULE module) {
    if (!module) {
        return executablePath();
    }
    link_map* object = nullptr;
    if (dlinfo(module, RTLD_DI_LINKMAP, &object) != 0) {
        return {};
    }
    if (*object->l_name == '\0') { // the executable, by its own handle
        return executablePath();
    }
    // What was loaded by a relative path is found again from the same working directory only.
    std::error_code error;
    return std::filesystem::absolute(object->l_name, error).native();
}

} // namespace VexaSsl::linux
