// Parses the files of a certificate folder. No pass phrase is asked for: a key that has one is
// unreadable. Any thread; the functions leave no error in OpenSSL's queue, and parsePkcs12File
// removes what was there.
#pragma once

#include "VexaPlatform/Certificates.h"
#include "platform/openssl/stores/Certificate.h"
#include "platform/openssl/stores/SourceFile.h"

#include <optional>
#include <vector>

namespace VexaSsl::openssl {

struct ParsedFile {
    std::vector<CertificatePointer> entries; // certificates with a private key
    std::vector<X509Pointer> anchors;        // certificates of a file of trust anchors
    // The reason when there are neither entries nor anchors.
    std::optional<platform::UnusedCertificateFile> unused = std::nullopt;
};

// Returns why a file that couldn't be read is not used.
platform::CertificateFileFault faultOf(FileOutcome outcome) noexcept;

// Parses a PEM file of certificates and keys, or one DER object. keyFile is used when file has no
// key; its outcome is missing when it doesn't exist. Each key's first matching certificate becomes
// an entry, with the file's other certificates as extra ones. Without a match, the first
// certificate becomes an entry if a key can't be read. Otherwise, and for a damaged file, there are
// no entries.
ParsedFile parsePersonalFile(const FileContents& file, const FileContents& keyFile);

// Parses a PKCS#12 file. The password is the first line of passwordFile, or empty.
ParsedFile parsePkcs12File(const FileContents& file, const FileContents& passwordFile);

// Parses a PEM file of certificates, or one DER certificate. Damaged blocks are skipped.
ParsedFile parseAnchorFile(const FileContents& file);

} // namespace VexaSsl::openssl
