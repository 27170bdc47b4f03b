#include "common/CertificateFolder.h"
#include "common/ExitStatus.h"

namespace VexaSsl::tool {

class AddedCertificates::Folder {};

AddedCertificates::AddedCertificates(const CertificateFiles& files) {
    if (!files.root.empty() || !files.certificate.empty()) {
        throw Failure(ExitStatus::Usage,
                      "--root and --certificate are not for Windows, where certificates lie in the "
                      "system's stores: our own in the local machine's personal store, trusted "
                      "issuers in its root store");
    }
}

AddedCertificates::~AddedCertificates() = default;

} // namespace VexaSsl::tool
