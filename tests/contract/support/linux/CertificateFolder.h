// The folder of certificates made by make-certificates.sh, and a scoped certificate folder.
#pragma once

#include <filesystem>
#include <string>

namespace VexaSsl::test {

// The folder made by make-certificates.sh, which runs now if the folder is missing.
std::filesystem::path certificatesFolder();
// The path of a file of one test case. kind: "cert", "key" or "chain".
std::string certificateFile(const std::string& name, const std::string& kind);

// Makes the platform use this certificate folder while it lives.
class ScopedCertificateFolder {
public:
    explicit ScopedCertificateFolder(const std::filesystem::path& folder = certificatesFolder());
    ~ScopedCertificateFolder();
    ScopedCertificateFolder(const ScopedCertificateFolder&) = delete;
    ScopedCertificateFolder& operator=(const ScopedCertificateFolder&) = delete;

private:
    std::filesystem::path former;
};

} // namespace VexaSsl::test
