// One certificate with what was found beside it. Immutable once made, so any thread may read it;
// held through shared_ptr by the caches and by every context that shows it.
#pragma once

#include "platform/openssl/stores/CertificateObject.h"
#include "platform/openssl/stores/OpenSslOwners.h"

#include <memory>
#include <vector>

namespace VexaSsl::openssl {

// What accompanies a certificate: its key and the certificates that travel with it.
struct Companions {
    KeyState keyState = KeyState::absent;
    KeyPointer key; // null unless the state is present
    std::vector<X509Pointer> helpers;
};

class Certificate {
public:
    // Throws std::bad_alloc, also when the certificate can't be encoded again.
    Certificate(X509Pointer certificate, Companions companions);
    Certificate(const Certificate&) = delete;
    Certificate& operator=(const Certificate&) = delete;

    X509* x509() const noexcept { return certificate.get(); }
    KeyState keyState() const noexcept { return companions.keyState; }
    EVP_PKEY* key() const noexcept { return companions.key.get(); }
    const std::vector<X509*>& helpers() const noexcept { return helperList; }

    // The encoding and decoded parts for a CERT_CONTEXT; they live as long as this object. Windows'
    // structures have no const members, nobody writes through them.
    CRYPTOAPI_BLOB encoded() const noexcept { return blobOf(der); }
    CERT_INFO* info() const noexcept { return &certificateInfo; }

private:
    using Bytes = std::vector<BYTE>;
    static CRYPTOAPI_BLOB blobOf(const Bytes& bytes) noexcept;

    X509Pointer certificate;
    Companions companions;
    std::vector<X509*> helperList; // of companions.helpers
    Bytes der, serialNumber, issuer, subject;
    mutable CERT_INFO certificateInfo;
};

using CertificatePointer = std::shared_ptr<const Certificate>;

} // namespace VexaSsl::openssl
