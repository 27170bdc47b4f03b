// Certificates from a file, and the store in memory that holds them. The file is taken as hostile:
// what is read of it is limited.
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
    StoreHandle store;                  // null when the certificates belong to another store
    CertificateHandle leaf;             // the certificate in question
    CertificateHandleList certificates; // all, in their order, including the leaf
    HCERTSTORE cameAlong =
        nullptr; // the store of the others that were sent with it; null for our own store
};

// Reads PEM with any number of certificates, skipping other blocks, or one certificate in DER. The
// first is the leaf. path "-" is standard input. Throws Failure (Usage) when the file can't be
// read, is too large, or has a damaged certificate or none.
CertificateChain readCertificates(const std::string& path);

} // namespace VexaSsl::tool
