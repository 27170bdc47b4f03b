#include "platform/linux/base/ModulePath.h"

#include <dlfcn.h>
#include <link.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace VexaSsl::linux {

std::string executablePath() {
    constexpr std::string_view deletedSuffix = " (deleted)";
    std::error_code error;
    std::string path = std::filesystem::read_symlink("/proc/self/exe", error).native();
    // The kernel appends the suffix when the host's file was replaced while it runs.
    if (path.ends_with(deletedSuffix) && !std::filesystem::exists(path, error)) {
        path.resize(path.size() - deletedSuffix.size());
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
    // A relative path stays valid only in the same working directory.
    std::error_code error;
    return std::filesystem::absolute(object->l_name, error).native();
}

} // namespace VexaSsl::linux
