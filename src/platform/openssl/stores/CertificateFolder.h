// The certificate folder in force, taken apart once and not for each connection.
#pragma once

#include <filesystem>
#include <memory>

namespace VexaSsl::openssl {

struct CertificateFolder {
    explicit CertificateFolder(std::filesystem::path folder);

    const std::filesystem::path whole;
    const std::filesystem::path personal; // my/
    const std::filesystem::path anchors;  // root/
};

// Immutable, never null. Any thread.
std::shared_ptr<const CertificateFolder> folderInForce();

} // namespace VexaSsl::openssl
