// The throwaway certificates with their keys, one a case: "server-ecdsa", "client", "untrusted" and
// so on. Where the security package doesn't take a kind of key, a case has another kind.
#pragma once

#include "CryptoShapes.h"

#include <memory>
#include <string>

namespace VexaSsl::test {

// Has the certificates where the platform finds them as long as it lives.
class CertificatesInForce {
public:
    CertificatesInForce();
    ~CertificatesInForce();
    CertificatesInForce(const CertificatesInForce&) = delete;
    CertificatesInForce& operator=(const CertificatesInForce&) = delete;

private:
    struct State;
    const std::unique_ptr<State> state;
};

// The certificate of one case, as it lies in a store.
class StoreCertificate {
public:
    explicit StoreCertificate(const std::string& name);
    ~StoreCertificate();
    StoreCertificate(const StoreCertificate&) = delete;
    StoreCertificate& operator=(const StoreCertificate&) = delete;

    PCCERT_CONTEXT get() const { return certificate; }

private:
    HCERTSTORE store = nullptr;
    PCCERT_CONTEXT certificate = nullptr;
};

} // namespace VexaSsl::test
