// Where the Linux binding finds certificates.
//
// A certificate folder holds two folders, either of which may be missing:
//   my/    the local machine's personal store. PEM files (*.pem, *.crt, *.cer) with a certificate,
//          its private key, and the certificates to be sent with it; the key may lie beside it
//          (x.pem and x.key). PKCS#12 files (*.p12, *.pfx) with an empty password or the one in
//          the first line of a file beside it (x.p12 and x.p12.password). A certificate without a
//          private key is no entry. Entries come in the order of the file names.
//   root/  further trust anchors beside the system's own bundle: PEM files (*.pem, *.crt, *.cer).
// Files are read anew when they change; a file that can't be read is skipped and never stops the
// others. A private key that this account can't read, or that needs a pass phrase, is told of when
// it is used; nobody is asked for the pass phrase.
#pragma once

#include <filesystem>
#include <vector>

namespace VexaSsl::platform {

// Sets the certificate folder of the process. Until the first call it is the folder fixed when the
// platform was built (/etc/vexassl/certificates). Stores that are open keep what they have read.
// Any thread may call it; a relative path is resolved against the working directory at the call.
void setCertificateFolder(const std::filesystem::path& folder);

// The folder in force.
std::filesystem::path certificateFolder();

// Why a file, or a whole folder, counts for nothing.
enum class CertificateFileFault {
    Missing,         // a link that leads nowhere; of my/ itself: there is no such folder
    Denied,          // this account may not read it
    NotAFile,        // no regular file (no folder, where it should be one), or too large
    Unavailable,     // the process has no descriptor or memory left, or the disk failed
    Damaged,         // a part of it isn't what its title says
    NoCertificate,   // there is none in it
    NoKey,           // certificates, but no private key in it or beside it
    ForeignKey,      // a private key, but none that belongs to a certificate of it
    WrongPassword,   // PKCS#12 that the password, or the want of one, doesn't open
    UnknownExtension // a name that no file of the personal store has
};

// A file that counts for nothing, though it looks as if it should.
struct UnusedCertificateFile {
    std::filesystem::path path;                                 // of the file or the folder
    CertificateFileFault fault = CertificateFileFault::Missing; // why
};

// What in the folder in force counts for nothing, as this account sees it: in the personal store,
// then among the trust anchors. Files whose names begin with a dot, keys and passwords aren't told
// of. Any thread may call it.
std::vector<UnusedCertificateFile> unusedCertificateFiles();

} // namespace VexaSsl::platform
