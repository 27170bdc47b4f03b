// Where the portable platform finds certificates.
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

namespace VexaSsl::platform {

// Sets the certificate folder of the process. Until the first call it is the folder fixed when the
// platform was built (/etc/vexassl/certificates). Stores that are open keep what they have read.
// Any thread may call it; a relative path is resolved against the working directory at the call.
void setCertificateFolder(const std::filesystem::path& folder);

// The folder in force.
std::filesystem::path certificateFolder();

} // namespace VexaSsl::platform
