// How every OpenSSL context of the package is set up. Any thread.
#pragma once

#include "security/ContextCache.h"

namespace VexaSsl::portable {

// Outcomes as findSslContext tells them. library: where the connections are made, null for
// OpenSSL's default; anchors is null on a server.
SECURITY_STATUS makeSslContext(Role role, OSSL_LIB_CTX* library, PCCERT_CONTEXT certificate,
                               X509_STORE* anchors, SslContextPointer& made);

} // namespace VexaSsl::portable
