// The one table of OpenSSL's verification errors. Any thread.
#pragma once

#include "CryptoShapes.h"
#include "SecurityShapes.h"

namespace VexaSsl::openssl {

struct VerificationError {
    long number;            // X509_V_ERR_...
    DWORD trustBit;         // of a chain's trust status, CERT_TRUST_...
    SECURITY_STATUS status; // of a handshake, SEC_E_...
};

// Returns the row of a number. One that isn't listed has a row of its own, with a partial chain and
// an unknown certificate: an unknown error must never result in a valid chain.
const VerificationError& verificationError(long number) noexcept;

} // namespace VexaSsl::openssl
