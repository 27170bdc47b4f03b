// The settings of every SSL_CTX. Any thread.
#pragma once

#include "platform/openssl/tls/ContextCache.h"

namespace VexaSsl::openssl {

// Creates an SSL_CTX. Returns and throws as findSslContext does. anchors is null for a server.
SECURITY_STATUS makeSslContext(Role role, PCCERT_CONTEXT certificate, X509_STORE* anchors,
                               SslContextPointer& made);

} // namespace VexaSsl::openssl
