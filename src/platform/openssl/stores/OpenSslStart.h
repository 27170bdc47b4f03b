// The start of OpenSSL. Some of its functions crash when its own start has failed, so every path
// into OpenSSL begins here. Any thread.
#pragma once

namespace VexaSsl::openssl {

// Initialises libcrypto and libssl in the first call that succeeds; later calls cost one read.
// Throws std::bad_alloc when they can't be initialised.
void startOpenSsl();

} // namespace VexaSsl::openssl
