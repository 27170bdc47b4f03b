// A throwaway certificate and its key, as OpenSSL holds them.
#pragma once

#include "platform/openssl/stores/OpenSslOwners.h"

namespace VexaSsl::test {

struct Issued {
    portable::X509Pointer certificate;
    portable::KeyPointer key;
};

} // namespace VexaSsl::test
