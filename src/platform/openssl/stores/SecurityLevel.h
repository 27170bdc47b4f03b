// How strong keys and digests must be for a chain to be trusted.
#pragma once

namespace VexaSsl::openssl {

// OpenSSL's own level for TLS connections, as built and configured on this system. A chain that is
// judged outside of a handshake would otherwise be judged at level 0, which takes any key. Any
// thread; throws std::bad_alloc and OpenSslFailure.
int tlsSecurityLevel();

} // namespace VexaSsl::openssl
