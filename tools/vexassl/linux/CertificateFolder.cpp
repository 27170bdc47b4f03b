#include "common/CertificateFolder.h"

#include "VexaPlatform/Certificates.h"
#include "common/ExitStatus.h"
#include "common/Text.h"

#include <filesystem>
#include <string>
#include <system_error>

namespace VexaSsl::tool {

void useCertificateFolder(const std::string& folder) {
    if (folder.empty()) {
        return;
    }
    const std::filesystem::path path = pathOfText(folder);
    std::error_code ignored;
    if (!std::filesystem::is_directory(path, ignored)) {
        throw Failure(ExitStatus::Usage, "no certificate folder at [" + folder + "]");
    }
    platform::setCertificateFolder(path);
}

} // namespace VexaSsl::tool
