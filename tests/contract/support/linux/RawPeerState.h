// The OpenSSL objects of a raw peer.
#pragma once

#include "contract/support/RawPeer.h"

#include <openssl/ssl.h>

#include <memory>
#include <string>

namespace VexaSsl::test {

struct FreeSslObject {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
    void operator()(SSL* ssl) const { SSL_free(ssl); }
};

struct RawPeer::State {
    std::unique_ptr<SSL_CTX, FreeSslObject> context;
    std::unique_ptr<SSL, FreeSslObject> ssl;
    std::string requestedName = "(none)";
    int namedAuthorities = -1;
};

} // namespace VexaSsl::test
