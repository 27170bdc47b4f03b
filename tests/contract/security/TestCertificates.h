// The throwaway certificates, reached as the library reaches them: a certificate folder is set and
// the personal store opened.
#pragma once

#include "CryptoShapes.h"

#include <filesystem>
#include <string>

namespace VexaSsl::test {

// The folder made by make-certificates.sh; made now if it never was.
std::filesystem::path certificatesFolder();
// A file of one case: "cert", "key" or "chain".
std::string certificateFile(const std::string& name, const std::string& kind);

// Has another certificate folder in force as long as it lives.
class FolderInForce {
public:
    explicit FolderInForce(const std::filesystem::path& folder = certificatesFolder());
    ~FolderInForce();
    FolderInForce(const FolderInForce&) = delete;
    FolderInForce& operator=(const FolderInForce&) = delete;

private:
    std::filesystem::path former;
};

// The personal store's certificate of one case.
class StoreCertificate {
public:
    explicit StoreCertificate(const std::string& name);
    ~StoreCertificate();
    StoreCertificate(const StoreCertificate&) = delete;
    StoreCertificate& operator=(const StoreCertificate&) = delete;

    PCCERT_CONTEXT get() const { return certificate; }

private:
    HCERTSTORE store = nullptr;
    PCCERT_CONTEXT certificate = nullptr;
};

} // namespace VexaSsl::test
