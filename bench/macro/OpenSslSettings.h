// OpenSSL contexts by the terms, for raw OpenSSL and for the wrappers over it.
#pragma once

#include "Contender.h"

#include <memory>
#include <openssl/ssl.h>

namespace VexaSsl::bench {

struct FreeOpenSsl {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
    void operator()(SSL* connection) const { SSL_free(connection); }
};

using ContextPointer = std::unique_ptr<SSL_CTX, FreeOpenSsl>;
using SslPointer = std::unique_ptr<SSL, FreeOpenSsl>;

// Throws std::runtime_error with OpenSSL's reason when the result isn't 1.
void orOpenSslError(long result, const char* what);

// Protocol, suite, group, and no session kept for later.
void applyTerms(SSL_CTX* context, const Terms& terms);

// Complete contexts, all files read anew.
ContextPointer makeClientContext(const Terms& terms);
ContextPointer makeServerContext(const Terms& terms);

} // namespace VexaSsl::bench
