// Certificates from a file, and the store in memory that holds them. The file is taken as hostile:
// what is read of it is bounded.
//
// Belongs to one thread.
#pragma once

#include "certificates/CertificateHandle.h"
#include "frame/OwnedHandle.h"
#include "platform/contract/CryptoApi.h"

#include <string>

namespace VexaSsl::tool {

inline void closeStore(HCERTSTORE store) noexcept {
    platform::CertCloseStore(store, 0);
}

// An open store; its certificates may outlive it.
using StoreHandle = OwnedHandle<HCERTSTORE, closeStore>;

struct CertificateChain {
    StoreHandle store;                  // null when the certificates are of another store
    CertificateHandle leaf;             // the one that the question is about
    CertificateHandleList certificates; // all of them in their order, the leaf included
    HCERTSTORE cameAlong =
        nullptr; // where the others lie that came with it; null for our own store
};

// PEM with any number of certificates, other blocks passed over, or one certificate in DER. The
// first is the leaf. path "-" is standard input. Throws Failure (Usage) when it can't be read, is
// too large, has a damaged certificate or none at all.
CertificateChain readCertificates(const std::string& path);

} // namespace VexaSsl::tool
