// The one place where OpenSSL's outcomes become status codes.
#pragma once

#include "SecurityShapes.h"

#include <openssl/ssl.h>

namespace VexaSsl::openssl {

// The status for a refused certificate (an X509_V_ERR number).
SECURITY_STATUS statusOfVerification(long verifyResult) noexcept;

// The status for a fatal alert of the peer (its number in TLS).
SECURITY_STATUS statusOfAlert(int alert) noexcept;

// The status for a TLS operation that failed for good. Takes the causes out of the calling
// thread's error queue: the first one that has a status of its own counts. Without any cause the
// failure is an internal one, and the reason of an internal one is kept with the name of the call.
// ssl is null when no connection is at work.
SECURITY_STATUS statusOfFailure(const char* call, const SSL* ssl) noexcept;

} // namespace VexaSsl::openssl
