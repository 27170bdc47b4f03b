// The faults of one certificate in a chain: an identifier that never changes, the cause, and what
// an administrator does about it. Stateless; any thread.
#pragma once

#include "certificates/CertificateFacts.h"
#include "certificates/UtcTime.h"
#include "platform/contract/CryptoApi.h"

#include <string>
#include <vector>

namespace VexaSsl::tool {

struct Fault {
    std::string identifier; // "expired"; scripts depend on it
    std::string cause;
    std::string remedy;
};

// The position of a certificate in a chain and what the platform found there.
struct ChainPlace {
    const CertificateFacts& facts;
    const CertificateFacts* issued; // the certificate that it issued; null for the first
    bool isLast;
    DWORD trustBits; // CERT_TRUST_
    bool forServer;
    UtcTime at;
};

// Empty for a certificate without a fault.
std::vector<Fault> faultsOf(const ChainPlace& place);

// A certificate that doesn't have the requested name.
Fault wrongNameFault(const CertificateFacts& facts, const std::string& name);
// The certificate covers the name, but an issuer's name constraints don't permit it.
Fault forbiddenNameFault(const std::string& name);
// A status of the platform that no certificate explains.
Fault otherFault(DWORD status);

} // namespace VexaSsl::tool
