// What a PCCERT_CONTEXT of the Linux binding points to, for its security package.
//
// The X509, key and helpers belong to the context and live as long as it is referenced. Everything
// is immutable once made; any thread may read it.
#pragma once

#include "CryptoShapes.h"

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <vector>

namespace VexaSsl::openssl {

enum class KeyState {
    absent,     // no key was found beside the certificate
    unreadable, // a key file is there, but this account can't read or open it
    present,
};

X509* x509Of(PCCERT_CONTEXT certificate);
KeyState keyStateOf(PCCERT_CONTEXT certificate);
// Null unless the state is present.
EVP_PKEY* privateKeyOf(PCCERT_CONTEXT certificate);
// The certificates that travel with this one (further ones of its file, or the peer's chain as
// sent), in their order, the certificate itself left out.
const std::vector<X509*>& helpersOf(PCCERT_CONTEXT certificate);

// A new context for a peer's certificate whose store holds chain (leaf included or not; may be null
// or empty). Takes references of its own. Result: owned by the caller, released with
// CertFreeCertificateContext.
PCCERT_CONTEXT contextOfPeer(X509* leaf, const STACK_OF(X509) * chain);

// The trust anchors: the system's bundle and root/ of the certificate folder. The same object as
// long as folder and files are unchanged, so that a cache may compare pointers. Never null.
std::shared_ptr<X509_STORE> trustStore();

} // namespace VexaSsl::openssl
