#include "common/CertificateFolder.h"

#include "common/ExitStatus.h"

namespace VexaSsl::tool {

void useCertificateFolder(const std::string& folder) {
    if (!folder.empty()) {
        throw Failure(ExitStatus::Usage,
                      "--certificates is not for Windows, where certificates lie in the system's "
                      "stores: our own in the local machine's personal store, trusted issuers in "
                      "its root store");
    }
}

} // namespace VexaSsl::tool
