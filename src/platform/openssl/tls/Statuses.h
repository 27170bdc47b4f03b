// Translates OpenSSL's errors and TLS alerts to SECURITY_STATUS. Any thread.
#pragma once

#include "SecurityShapes.h"

#include <openssl/ssl.h>

namespace VexaSsl::openssl {

// Returns the status for the peer's fatal alert, given its AlertDescription.
SECURITY_STATUS statusOfAlert(int alert) noexcept;

// Returns the status for an OpenSSL call that failed permanently, and empties the thread's error
// queue. The first error that has a status of its own decides; an empty queue gives
// SEC_E_INTERNAL_ERROR. For that status the failure stays recorded with the name of the call. ssl
// is null when the call isn't one on a connection.
SECURITY_STATUS statusOfFailure(const char* call, const SSL* ssl) noexcept;

} // namespace VexaSsl::openssl
