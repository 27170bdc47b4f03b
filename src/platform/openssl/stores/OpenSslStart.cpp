#include "platform/openssl/stores/OpenSslStart.h"

#include <openssl/crypto.h>
#include <openssl/ssl.h>

#include <new>

namespace VexaSsl::openssl {
namespace {

struct OpenSslStart {
    // The default library context is checked separately: the calls of initialisation succeed
    // without it.
    OpenSslStart() {
        const bool isInitialised = OPENSSL_init_crypto(0, nullptr) == 1 &&
                                   OPENSSL_init_ssl(0, nullptr) == 1 &&
                                   OSSL_LIB_CTX_get0_global_default() != nullptr;
        if (!isInitialised) {
            throw std::bad_alloc();
        }
    }
};

} // namespace

void startOpenSsl() {
    static const OpenSslStart start;
}

} // namespace VexaSsl::openssl
