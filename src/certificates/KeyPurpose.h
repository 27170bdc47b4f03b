// The key purpose that a certificate must have, in the structures that the platform takes.
//
// Holds the addresses of its own fields, so it can't be moved. Belongs to one thread.
#pragma once

#include "platform/contract/CryptoApi.h"

namespace VexaSsl {

class KeyPurpose {
public:
    explicit KeyPurpose(bool forServer) : identifiers{forServer ? serverOid : clientOid} {}
    KeyPurpose(const KeyPurpose&) = delete;
    KeyPurpose& operator=(const KeyPurpose&) = delete;

    // One identifier; valid as long as this object.
    CERT_ENHKEY_USAGE usage() {
        CERT_ENHKEY_USAGE one{};
        one.cUsageIdentifier = 1;
        one.rgpszUsageIdentifier = identifiers;
        return one;
    }

private:
    // Arrays and not constants, because the platform's structures point to non-const characters.
    // They are never written.
    char serverOid[18] = "1.3.6.1.5.5.7.3.1";
    char clientOid[18] = "1.3.6.1.5.5.7.3.2";
    char* identifiers[1];
};

} // namespace VexaSsl
