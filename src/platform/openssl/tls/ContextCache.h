// One OpenSSL context for each role, certificate and set of trust anchors, made once and kept,
// since making one costs as much as a good part of a handshake. Any thread.
#pragma once

#include "platform/openssl/stores/OpenSslOwners.h"

#include "SecurityShapes.h"

#include <openssl/ssl.h>

#include <cstddef>
#include <memory>

namespace VexaSsl::openssl {

enum class Role { client, server };

using SslContextPointer = std::unique_ptr<SSL_CTX, Release<SSL_CTX_free>>;

// certificate: what this side shows, with its key; null for a client without one. Result: SEC_E_OK
// and a reference in found; SEC_E_UNKNOWN_CREDENTIALS when the key isn't the certificate's,
// SEC_E_ALGORITHM_MISMATCH for a key or signature that the security level forbids,
// SEC_E_INSUFFICIENT_MEMORY. Throws std::bad_alloc, and OpenSslFailure when OpenSSL refuses the
// settings.
SECURITY_STATUS findSslContext(Role role, PCCERT_CONTEXT certificate, SslContextPointer& found);

// How many contexts are kept at most; the one used longest ago goes first. Connections that use it
// are not touched by that.
inline constexpr std::size_t contextCacheLimit = 64;

} // namespace VexaSsl::openssl
