// Where the Linux binding finds certificates.
//
// A certificate folder has two subfolders, either of which may be missing:
//   my/    the local machine's personal store. PEM files (*.pem, *.crt, *.cer) with a certificate,
//          its private key, and the certificates to send with it; the key may be in a second file
//          (x.pem and x.key). PKCS#12 files (*.p12, *.pfx), whose password is empty or the first
//          line of a second file (x.p12 and x.p12.password). A certificate without a private key is
//          not in the store. The order is that of the file names.
//   root/  trust anchors in addition to the system's own bundle: PEM files (*.pem, *.crt, *.cer).
// Files are read again when they change. A file that can't be read is skipped. A private key that
// this account can't read, or that has a pass phrase, fails when it is used; nobody is asked for
// the pass phrase.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace VexaSsl::platform {

// Sets the certificate folder of the process. The initial one is fixed when the binding is built;
// /etc/vexassl/certificates is the default. A relative path starts at the current working
// directory. Stores that are open keep what they have read. Throws
// std::filesystem::filesystem_error when the working directory can't be determined.
void setCertificateFolder(const std::filesystem::path& folder);

// Returns the certificate folder of the process.
std::filesystem::path certificateFolder();

// Why a file or a folder is not used.
enum class CertificateFileFault {
    Missing,          // a dangling symbolic link, or my/ itself doesn't exist
    Denied,           // this account has no permission to read it
    NotAFile,         // not a regular file (not a folder, where one is expected), or too large
    Unavailable,      // out of descriptors or memory, or an I/O error
    Damaged,          // a PEM block or the PKCS#12 structure can't be decoded
    NoCertificate,    // contains no certificate
    NoKey,            // certificates without a private key in the file or in its key file
    ForeignKey,       // the private key belongs to none of the certificates
    WrongPassword,    // neither an empty password nor the password file opens the PKCS#12 file
    UnknownExtension, // not one of the extensions of the personal store
    UnsupportedCipher // the PKCS#12 file uses an algorithm that OpenSSL doesn't offer here
};

// A file or folder that is not used although it is in the certificate folder.
struct UnusedCertificateFile {
    std::filesystem::path path;                                 // of the file or folder
    CertificateFileFault fault = CertificateFileFault::Missing; // why it is not used
    std::string algorithm = {}; // of an UnsupportedCipher, as OpenSSL names it; may be empty
};

// Reads the certificate folder with the rights of this account. Returns what is not used, first in
// my/, then in root/. Hidden files (with a leading dot), key files and password files are not
// listed.
std::vector<UnusedCertificateFile> unusedCertificateFiles();

} // namespace VexaSsl::platform
