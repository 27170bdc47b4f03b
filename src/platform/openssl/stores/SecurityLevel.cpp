#include "platform/openssl/stores/SecurityLevel.h"

#include "platform/openssl/stores/OpenSslOwners.h"

#include <openssl/ssl.h>

#include <memory>

namespace VexaSsl::openssl {

int tlsSecurityLevel() {
    static const int level = [] {
        const std::unique_ptr<SSL_CTX, Release<SSL_CTX_free>> context(SSL_CTX_new(TLS_method()));
        return SSL_CTX_get_security_level(orOutOfMemory(context.get()));
    }();
    return level;
}

} // namespace VexaSsl::openssl
