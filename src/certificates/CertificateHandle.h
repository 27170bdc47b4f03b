// The owners through which certificates travel in the library.
//
// A CertificateHandle owns one reference to a certificate context, or none; it can be moved, not
// copied. A second reference is taken with CertDuplicateCertificateContext. The context itself is
// immutable: any thread may read it, a handle belongs to one thread at a time.
//
// Every handle on a certificate of a store must be gone before that store is closed.
#pragma once

#include "platform/CryptoApi.h"

#include <memory>
#include <vector>

namespace VexaSsl {

struct CertificateRelease {
    void operator()(PCCERT_CONTEXT certificate) const {
        platform::CertFreeCertificateContext(certificate);
    }
};

// Null: no certificate, and nothing is released.
using CertificateHandle = std::unique_ptr<const CERT_CONTEXT, CertificateRelease>;

// In the order in which the store gave them.
using CertificateHandleList = std::vector<CertificateHandle>;

} // namespace VexaSsl
