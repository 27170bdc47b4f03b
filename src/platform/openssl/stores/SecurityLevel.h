// The required strength of keys and digests in a chain.
#pragma once

namespace VexaSsl::openssl {

// Returns OpenSSL's security level for TLS connections, as built and configured on this system.
// Outside of a handshake OpenSSL verifies a chain at level 0, which accepts every key. Any thread.
// Throws std::bad_alloc and OpenSslFailure.
int tlsSecurityLevel();

} // namespace VexaSsl::openssl
