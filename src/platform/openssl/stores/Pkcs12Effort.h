// How much work it is to open a PKCS#12 file: whoever made the file chooses how often each key is
// to be derived, and a damaged or malicious count would keep the process busy for hours. Stateless;
// any thread.
#pragma once

#include <openssl/pkcs12.h>

#include <string>

namespace VexaSsl::openssl {

// Whether all derivations together, those for the key inside of an encrypted part included, take no
// more than a few seconds. False also for ways of deriving a key that no usual program writes.
bool hasBearableIterations(const PKCS12* file, const std::string& password);

} // namespace VexaSsl::openssl
