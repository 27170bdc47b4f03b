// What stands behind a CredHandle: the OpenSSL context of one role and certificate. Immutable; any
// number of threads may use it, and contexts made from it don't need it any more.
#pragma once

#include "platform/openssl/tls/ContextCache.h"

namespace VexaSsl::openssl {

struct Credentials {
    Role role = Role::client;
    bool hasCertificate = false;
    bool judgesServer = true; // a client's; false: its caller does, behind the handshake
    SslContextPointer settings;
};

} // namespace VexaSsl::openssl
