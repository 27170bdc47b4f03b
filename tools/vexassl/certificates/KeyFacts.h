// The serial number of a certificate, its public key and the algorithm of its signature, read from
// its encoding.
//
// Plain values; any thread.
#pragma once

#include "certificates/DerReader.h"

#include <string>

namespace VexaSsl::tool {

struct KeyFacts {
    std::string serial;    // in hexadecimal
    std::string keyType;   // "RSA", "EC P-256", or an object identifier
    unsigned keyBits = 0;  // 0 if unknown
    std::string signature; // "SHA-256 with RSA", or an object identifier
    bool isSelfIssued = false;
};

// What can't be read is left empty.
KeyFacts keyFactsOf(DerBytes certificate);

// Returns why TLS refuses the key or the signature, "its RSA key has 1024 bits, and TLS asks for
// 2048 or more"; empty for strong ones. The signature of a self-issued certificate doesn't count.
std::string weaknessOf(const KeyFacts& facts);

} // namespace VexaSsl::tool
