// The certificate folder and its subfolders, whose paths are built once and not for each
// connection.
#pragma once

#include <filesystem>
#include <memory>

namespace VexaSsl::openssl {

struct CertificateFolder {
    explicit CertificateFolder(std::filesystem::path path);

    const std::filesystem::path path;
    const std::filesystem::path personal; // my/
    const std::filesystem::path anchors;  // root/
};

// Returns the certificate folder of the process; never null. Any thread.
std::shared_ptr<const CertificateFolder> currentFolder();

} // namespace VexaSsl::openssl
