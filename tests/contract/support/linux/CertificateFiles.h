// A certificate folder for one test, and certificates in the formats of its files.
#pragma once

#include "contract/support/ThrowawayPki.h"

#include <filesystem>
#include <string>
#include <vector>

namespace VexaSsl::test {

std::string pem(const X509* certificate);
std::string pem(const Issued& issued); // the certificate alone
std::string keyPem(const Issued& issued);
std::string encryptedKeyPem(const Issued& issued, const std::string& passPhrase);
std::string pkcs12(const Issued& issued, const std::vector<const Issued*>& helpers,
                   const std::string& password);

// A new certificate folder, used by the platform while it lives.
class TemporaryCertificateFolder {
public:
    TemporaryCertificateFolder();
    ~TemporaryCertificateFolder();
    TemporaryCertificateFolder(const TemporaryCertificateFolder&) = delete;
    TemporaryCertificateFolder& operator=(const TemporaryCertificateFolder&) = delete;

    // name: "my/x.pem". Replaces the file as an editor does, by renaming a new file over it.
    void write(const std::string& name, const std::string& content) const;
    void remove(const std::string& name) const;
    std::filesystem::path path(const std::string& name) const { return folder / name; }
    // Writes the certificate and its key into one file of the personal store.
    void install(const std::string& name, const Issued& issued,
                 const std::vector<const Issued*>& helpers = {}) const;

    const std::filesystem::path folder;

private:
    const std::filesystem::path formerFolder;
};

} // namespace VexaSsl::test
