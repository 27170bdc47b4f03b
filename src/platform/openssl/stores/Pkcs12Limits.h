// A limit on the key derivation for a PKCS#12 file. The file contains the iteration counts, and a
// damaged or malicious one would keep the process busy for hours. Any thread.
#pragma once

#include <openssl/pkcs12.h>

namespace VexaSsl::openssl {

// Returns whether the iterations of all key derivations, those inside encrypted parts included, are
// few enough for a few seconds. Returns false for derivation functions other than PBKDF2 and those
// of PKCS#12 and PKCS#5 v1.5, and for bags nested too deeply.
bool iterationsWithinLimit(const PKCS12* file, const char* password);

} // namespace VexaSsl::openssl
