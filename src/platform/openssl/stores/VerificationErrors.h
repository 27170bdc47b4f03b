// OpenSSL's verification errors as trust status bits and as statuses. Any thread.
#pragma once

#include "CryptoShapes.h"
#include "SecurityShapes.h"

namespace VexaSsl::openssl {

struct VerificationError {
    long number;            // X509_V_ERR_...
    DWORD trustBit;         // of a chain's trust status, CERT_TRUST_...
    SECURITY_STATUS status; // of a handshake, SEC_E_...
};

// Returns the entry for a number. The entry for unlisted ones has a partial chain and an unknown
// certificate: an unknown error must never result in a valid chain.
const VerificationError& verificationError(long number) noexcept;

} // namespace VexaSsl::openssl
