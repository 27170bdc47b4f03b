// A certificate with its private key and the other certificates of its file or its chain.
// Immutable: any thread. Shared by the caches and the contexts.
#pragma once

#include "platform/openssl/stores/CertificateObject.h"
#include "platform/openssl/stores/OpenSslOwners.h"

#include <memory>
#include <vector>

namespace VexaSsl::openssl {

struct KeyAndChain {
    KeyState keyState = KeyState::absent;
    KeyPointer key;                             // null unless the state is present
    std::vector<X509Pointer> extraCertificates; // to be sent with the certificate
};

class Certificate {
public:
    // Throws std::bad_alloc, also when OpenSSL can't encode the certificate.
    Certificate(X509Pointer certificate, KeyAndChain keyAndChain);
    Certificate(const Certificate&) = delete;
    Certificate& operator=(const Certificate&) = delete;

    X509* x509() const noexcept { return certificate.get(); }
    KeyState keyState() const noexcept { return keyAndChain.keyState; }
    EVP_PKEY* key() const noexcept { return keyAndChain.key.get(); }
    const std::vector<X509*>& extraCertificates() const noexcept { return extraList; }

    // The encoding and the decoded parts for a CERT_CONTEXT; they live as long as this object. They
    // are never written through, although the Windows structures have no const members.
    CRYPTOAPI_BLOB encoded() const noexcept { return blobOf(der); }
    CERT_INFO* info() const noexcept { return &certificateInfo; }

private:
    using Bytes = std::vector<BYTE>;
    static CRYPTOAPI_BLOB blobOf(const Bytes& bytes) noexcept;

    X509Pointer certificate;
    KeyAndChain keyAndChain;
    std::vector<X509*> extraList; // of keyAndChain.extraCertificates
    Bytes der, serialNumber, issuer, subject;
    mutable CERT_INFO certificateInfo;
};

using CertificatePointer = std::shared_ptr<const Certificate>;

} // namespace VexaSsl::openssl
