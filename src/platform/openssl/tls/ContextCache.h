// A cache of the SSL_CTX for each role, certificate and set of trust anchors. Creating one takes as
// long as a large part of a handshake. Any thread.
#pragma once

#include "platform/openssl/stores/OpenSslOwners.h"

#include "SecurityShapes.h"

#include <openssl/ssl.h>

#include <cstddef>
#include <memory>

namespace VexaSsl::openssl {

enum class Role { client, server };

using SslContextPointer = std::unique_ptr<SSL_CTX, Release<SSL_CTX_free>>;

// certificate: this side's, with its key; null for a client without one. Returns SEC_E_OK and a
// reference in found; SEC_E_UNKNOWN_CREDENTIALS when the key doesn't match the certificate;
// SEC_E_ALGORITHM_MISMATCH for a key or signature that the security level forbids;
// SEC_E_INSUFFICIENT_MEMORY. Throws std::bad_alloc, and OpenSslFailure when OpenSSL refuses the
// settings.
SECURITY_STATUS findSslContext(Role role, PCCERT_CONTEXT certificate, SslContextPointer& found);

// The capacity. The least recently used context is evicted; connections that use it keep it.
inline constexpr std::size_t contextCacheLimit = 64;

} // namespace VexaSsl::openssl
