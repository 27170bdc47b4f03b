// The test certificates with their keys, one per test case: "server-ecdsa", "client", "untrusted"
// and so on. If the security package doesn't support the type of key, the case has another type.
#pragma once

#include "CryptoShapes.h"

#include <memory>
#include <string>

namespace VexaSsl::test {

// Keeps the certificates where the platform finds them while it lives.
class ScopedCertificates {
public:
    ScopedCertificates();
    ~ScopedCertificates();
    ScopedCertificates(const ScopedCertificates&) = delete;
    ScopedCertificates& operator=(const ScopedCertificates&) = delete;

private:
    struct State;
    const std::unique_ptr<State> state;
};

// The certificate of one test case, with its key, from a store.
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
