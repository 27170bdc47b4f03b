// A test certificate and its key as OpenSSL objects.
#pragma once

#include "platform/openssl/stores/OpenSslOwners.h"

namespace VexaSsl::test {

struct Issued {
    openssl::X509Pointer certificate;
    openssl::KeyPointer key;
};

} // namespace VexaSsl::test
