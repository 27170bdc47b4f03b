// Name constraints on the name that a client expects. OpenSSL applies them to the names in the
// certificate only, so a wildcard could cover a name that an authority excludes. Any thread.
#pragma once

#include <openssl/x509.h>

namespace VexaSsl::openssl {

// Checks the DNS name against the name constraints of every issuer in the chain, which begins with
// the leaf. Returns X509_V_OK or the X509_V_ERR_ number of the first violation.
int constraintError(const char* dnsName, const STACK_OF(X509) * chain) noexcept;

} // namespace VexaSsl::openssl
