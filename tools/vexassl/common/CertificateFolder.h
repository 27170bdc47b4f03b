// Selects the folder of certificates for a command, and adds files of the command line to it.
#pragma once

#include <memory>
#include <string>

namespace VexaSsl::tool {

// Takes the certificates from the folder; an empty text changes nothing. Throws Failure (Usage)
// when there is no such folder, or when this system keeps certificates in stores of its own.
void useCertificateFolder(const std::string& folder);

// Files named on the command line; empty: none.
struct CertificateFiles {
    std::string root;        // further trust anchors
    std::string certificate; // our own, instead of the personal store
    std::string key;         // of the certificate; empty: in its file or beside it
};

// Adds the files to the certificates of the process while it lives. Nothing is copied: the files
// are read where they are.
class AddedCertificates {
public:
    // Throws Failure: Usage for a file of trust anchors that can't be used, or when this system
    // keeps certificates in stores of its own; OwnCertificate for a certificate without its key.
    explicit AddedCertificates(const CertificateFiles& files);
    ~AddedCertificates();
    AddedCertificates(const AddedCertificates&) = delete;
    AddedCertificates& operator=(const AddedCertificates&) = delete;

private:
    class Folder;
    std::unique_ptr<Folder> folder; // null when no file was named
};

} // namespace VexaSsl::tool
