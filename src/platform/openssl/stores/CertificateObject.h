// The OpenSSL objects of a PCCERT_CONTEXT, for the security package. They belong to the context and
// are immutable: any thread.
#pragma once

#include "CryptoShapes.h"

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <vector>

namespace VexaSsl::openssl {

enum class KeyState {
    absent,     // the certificate has no key
    unreadable, // the key file exists, but this account can't read it or the key has a pass phrase
    present,
};

X509* x509Of(PCCERT_CONTEXT certificate);
KeyState keyStateOf(PCCERT_CONTEXT certificate);
// Returns null unless the state is present.
EVP_PKEY* privateKeyOf(PCCERT_CONTEXT certificate);
// Returns the other certificates of its file, or of the chain that the peer sent, in their order.
const std::vector<X509*>& extraCertificatesOf(PCCERT_CONTEXT certificate);

// Returns a new context for a certificate of a connection, with a store that holds chain and leaf;
// chain may contain leaf, be empty or null. The context takes references of its own; the caller
// releases it with CertFreeCertificateContext.
PCCERT_CONTEXT newConnectionContext(X509* leaf, const STACK_OF(X509) * chain);

// Returns the trust anchors: the system's bundle and root/ of the certificate folder; never null.
// The object is the same until the folder or a file changes, so that a cache can compare pointers.
std::shared_ptr<X509_STORE> trustStore();

} // namespace VexaSsl::openssl
