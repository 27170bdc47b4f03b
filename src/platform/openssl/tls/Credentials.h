// The object of a CredHandle: the SSL_CTX for one role and certificate. Immutable: any thread.
// Security contexts created from it don't refer to it.
#pragma once

#include "platform/openssl/tls/ContextCache.h"

namespace VexaSsl::openssl {

struct Credentials {
    Role role = Role::client;
    bool hasCertificate = false;
    bool validatesServer = true; // of a client; false: the caller validates after the handshake
    SslContextPointer settings;
};

} // namespace VexaSsl::openssl
