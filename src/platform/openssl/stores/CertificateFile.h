// What the files of a certificate folder hold.
//
// Reading asks nobody for a pass phrase: a key that needs one is an unreadable key. Any thread may
// call these functions; they leave OpenSSL's error queue alone.
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
    // Where it gives neither.
    std::optional<platform::UnusedCertificateFile> unused = std::nullopt;
};

// Why a file that couldn't be read counts for nothing.
platform::CertificateFileFault faultOf(FileOutcome outcome) noexcept;

// file: PEM or DER certificates, and keys if it is PEM. keyFile: the one beside it, outcome missing
// if there is none; it counts when the file itself holds no key. The first certificate that matches
// a key is its entry, the others of the file are the entry's helpers; without a match the first
// certificate is the entry if a key is there that can't be read. Otherwise there are no entries, as
// for a broken file.
ParsedFile parsePersonalFile(const FileText& file, const FileText& keyFile);

// file: PKCS#12. passwordFile: its first line is the password, which is empty if there is none.
ParsedFile parsePkcs12File(const FileText& file, const FileText& passwordFile);

// file: PEM or DER certificates. What can't be read in it is left out.
ParsedFile parseAnchorFile(const FileText& file);

} // namespace VexaSsl::openssl
