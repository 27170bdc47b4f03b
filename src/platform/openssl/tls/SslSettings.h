// How every OpenSSL context of the package is set up. Any thread.
#pragma once

#include "platform/openssl/tls/ContextCache.h"

namespace VexaSsl::openssl {

// Outcomes as findSslContext tells them. anchors is null on a server.
SECURITY_STATUS makeSslContext(Role role, PCCERT_CONTEXT certificate, X509_STORE* anchors,
                               SslContextPointer& made);

} // namespace VexaSsl::openssl
