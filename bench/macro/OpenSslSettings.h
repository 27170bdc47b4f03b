// OpenSSL contexts for given terms, used by raw OpenSSL and by the wrappers of OpenSSL.
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

// Throws std::runtime_error with OpenSSL's reason unless result is 1.
void checkOpenSsl(long result, const char* what);

// Sets protocol version, cipher suites and groups, and turns session resumption off.
void applyTerms(SSL_CTX* context, const Terms& terms);

// Return complete contexts; all files are read.
ContextPointer makeClientContext(const Terms& terms);
ContextPointer makeServerContext(const Terms& terms);

} // namespace VexaSsl::bench
