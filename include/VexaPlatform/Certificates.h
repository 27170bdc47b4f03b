// Where the portable platform finds certificates.
//
// A certificate folder holds two folders: my/ (the local machine's personal store: PEM files, or
// PKCS#12 files named *.p12 or *.pfx, of certificates with their private keys) and root/ (PEM files
// of further trust anchors beside the system's own bundle). Either may be missing. Files are read
// anew when they change; a file that can't be read is skipped and never stops the others.
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
