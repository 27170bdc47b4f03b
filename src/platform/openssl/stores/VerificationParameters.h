// What a verification of a chain checks, for handshakes and for checks without a connection alike.
// Any thread.
#pragma once

#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

namespace VexaSsl::openssl {

enum class Purpose { any, server, client };

// How a server's names are compared with the name that a client expects.
inline constexpr unsigned serverNameFlags = X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS;

// Sets the usages that every element must permit, the names to which name constraints apply, and
// the strength that TLS requires. Throws OpenSslFailure.
void setPurpose(X509_VERIFY_PARAM* parameters, Purpose purpose);

} // namespace VexaSsl::openssl
