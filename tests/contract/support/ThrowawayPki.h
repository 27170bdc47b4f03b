// Certificates made by the test: one call for an authority or leaf, with a field of the recipe for
// each deviation. Defined in support/<system>/ThrowawayPki.cpp.
#pragma once

#include "IssuedCertificate.h"

#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::test {

struct Recipe {
    // Attribute and UTF-8 value, in this order; {"CN", "localhost"}. CN, O and emailAddress.
    std::vector<std::pair<std::string, std::string>> subject;
    std::vector<std::string> dnsNames; // raw bytes, may include zeros
    std::vector<std::string> emailNames;
    std::string usages;            // "serverAuth,clientAuth"; also "anyExtendedKeyUsage"
    std::string basicConstraints;  // "critical,CA:TRUE" or "critical,CA:TRUE,pathlen:0"
    std::string permittedDnsName;  // a critical name constraint: "inside.test"
    std::string criticalExtension; // the identifier of an unknown extension
    int firstDay = -1;             // days from now
    int lastDay = 1000;
    unsigned rsaBits = 0; // an RSA key of this size; 0: the system's default type of key
};

// Issued by issuer, or self-signed without one.
Issued issue(const Recipe& recipe, const Issued* issuer = nullptr);

Recipe named(const std::string& commonName);
Recipe serverNamed(const std::string& commonName);
Recipe authorityNamed(const std::string& commonName);

// The same certificate with the last byte of its signature changed.
Issued withBrokenSignature(const Issued& issued);

// The encoded certificate.
std::string der(const Issued& issued);

} // namespace VexaSsl::test
