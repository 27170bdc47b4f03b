#include "CertificateFolder.h"

#include "ExitStatus.h"
#include "VexaPlatform/Certificates.h"

#include <filesystem>
#include <system_error>

namespace VexaSsl::tool {

void useCertificateFolder(const std::string& folder) {
    if (folder.empty()) {
        return;
    }
    std::error_code ignored;
    if (!std::filesystem::is_directory(folder, ignored)) {
        throw Failure(ExitStatus::Usage, "no certificate folder at [" + folder + "]");
    }
    platform::setCertificateFolder(folder);
}

} // namespace VexaSsl::tool
