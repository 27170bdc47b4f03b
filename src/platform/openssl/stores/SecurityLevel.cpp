#include "platform/openssl/stores/SecurityLevel.h"

#include "platform/openssl/stores/OpenSslFailure.h"
#include "platform/openssl/stores/OpenSslOwners.h"

#include <openssl/ssl.h>

#include <memory>

namespace VexaSsl::openssl {

int tlsSecurityLevel() {
    static const int level = [] {
        using ContextPointer = std::unique_ptr<SSL_CTX, Release<SSL_CTX_free>>;
        const auto context =
            requireResult("SSL_CTX_new", ContextPointer(SSL_CTX_new(TLS_method())));
        return SSL_CTX_get_security_level(context.get());
    }();
    return level;
}

} // namespace VexaSsl::openssl
