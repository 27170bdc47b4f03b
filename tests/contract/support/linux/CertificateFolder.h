// The folder of throwaway certificates that make-certificates.sh makes, and folders in force.
#pragma once

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

} // namespace VexaSsl::test
