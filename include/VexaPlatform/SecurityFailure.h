// Why OpenSSL failed, where a status of the security package says only that it did.
#pragma once

#include <string>

namespace VexaSsl::platform {

// Returns which call of OpenSSL failed last in the calling thread and OpenSSL's first error, for
// example "SSL_CTX_new: error:0A0000A1:SSL routines::library has no ciphers"; the form is not
// fixed. Empty if no call has failed since the thread last began to acquire credentials or to
// advance a handshake, if memory ran out, and if the status or the chain's faults name the cause. A
// host asks in its ILog when a line with the number 2148074244 (SEC_E_INTERNAL_ERROR) comes, or on
// the same thread when the operation has failed.
std::string lastSecurityFailure();

} // namespace VexaSsl::platform
