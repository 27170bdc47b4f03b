#include "contract/support/System.h"

#include "VexaPlatform/SecurityFailure.h"

#include <cstdlib>
#include <pwd.h>
#include <stdexcept>
#include <unistd.h>

namespace VexaSsl::test {

const bool controlZEndsTextFiles = false;

std::filesystem::path pathOfThisProgram() {
    return std::filesystem::read_symlink("/proc/self/exe");
}

std::wstring userOfThisProcess() {
    const passwd* entry = getpwuid(geteuid());
    const std::string name = entry ? entry->pw_name : std::to_string(geteuid());
    return {name.begin(), name.end()};
}

std::filesystem::path makeTemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "vexassl-XXXXXX").native();
    if (!mkdtemp(name.data())) {
        throw std::runtime_error("cannot create a temporary folder");
    }
    std::filesystem::permissions(name, std::filesystem::perms(0755));
    return name;
}

std::string reasonOfSecurityFailure() {
    return platform::lastSecurityFailure();
}

} // namespace VexaSsl::test
