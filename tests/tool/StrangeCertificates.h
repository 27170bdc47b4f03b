// Certificates that no authority issues, and folders to put certificates in. Made by the openssl
// program where the tests run.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace VexaSsl::test {

struct StrangeCertificate {
    std::string commonName;            // bytes as they are
    std::vector<std::string> dnsNames; // plain ones; may be thousands
    std::string alternativeNames = ""; // instead of dnsNames: a value for openssl's configuration
    std::string extensions = "";       // further lines of openssl's configuration
    std::filesystem::path issuer = ""; // a file with its certificate and key; default: itself
};

// A file with a certificate and its key.
std::filesystem::path makeStrange(const StrangeCertificate& certificate);

// A certificate for *.wild.test of an authority that excludes evil.wild.test, in files with keys.
struct CoveredName {
    std::filesystem::path authority;
    std::filesystem::path certificate;
};
CoveredName makeCoveredName();

// The certificate of a file with its last byte changed, which is one of its signature.
std::string withDamagedSignature(const std::filesystem::path& pem);
// The certificate of a file with a public key that is no point of its curve.
std::string withDamagedKey(const std::filesystem::path& pem);

// A file with a certificate that the tests' authority signed with SHA-1, and its key.
std::filesystem::path withWeakSignature();

// A certificate folder of its own with my/ and root/, the latter trusting the tests' authority.
class OwnCertificates {
public:
    OwnCertificates();

    // A file of my/ with that content.
    void put(const std::string& name, const std::string& content) const;
    // The tests' case, with certificate, key and helpers as it is in their store.
    void putCase(const std::string& name) const;

    const std::filesystem::path folder;
};

} // namespace VexaSsl::test
