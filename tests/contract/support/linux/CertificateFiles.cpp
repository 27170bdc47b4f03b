#include "CertificateFiles.h"

#include "VexaPlatform/Certificates.h"
#include "contract/support/System.h"

#include <fstream>
#include <system_error>

namespace VexaSsl::test {

TemporaryCertificateFolder::TemporaryCertificateFolder()
    : folder(makeTemporaryFolder()), formerFolder(platform::certificateFolder()) {
    std::filesystem::create_directory(folder / "my");
    std::filesystem::create_directory(folder / "root");
    platform::setCertificateFolder(folder);
}

TemporaryCertificateFolder::~TemporaryCertificateFolder() {
    platform::setCertificateFolder(formerFolder);
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

void TemporaryCertificateFolder::write(const std::string& name, const std::string& content) const {
    const std::filesystem::path fresh = path(name + ".fresh");
    std::ofstream(fresh, std::ios::binary) << content;
    std::filesystem::rename(fresh, path(name));
}

void TemporaryCertificateFolder::remove(const std::string& name) const {
    std::filesystem::remove(path(name));
}

void TemporaryCertificateFolder::install(const std::string& name, const Issued& issued,
                                         const std::vector<const Issued*>& helpers) const {
    std::string content = pem(issued) + keyPem(issued);
    for (const Issued* helper : helpers) {
        content += pem(*helper);
    }
    write("my/" + name, content);
}

} // namespace VexaSsl::test
