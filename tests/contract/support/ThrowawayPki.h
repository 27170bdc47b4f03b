// Certificates made on the spot: one call an authority or leaf, every oddity a field of the recipe.
// How they are made is each system's own affair (support/<system>/ThrowawayPki.cpp).
#pragma once

#include "IssuedCertificate.h"

#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::test {

struct Recipe {
    // Attribute and UTF-8 value, in this order; {"CN", "localhost"}. CN, O and emailAddress.
    std::vector<std::pair<std::string, std::string>> subject;
    std::vector<std::string> dnsNames; // bytes as they are, zeros included
    std::vector<std::string> emailNames;
    std::string usages;            // "serverAuth,clientAuth"; also "anyExtendedKeyUsage"
    std::string basicConstraints;  // "critical,CA:TRUE" or "critical,CA:TRUE,pathlen:0"
    std::string permittedDnsName;  // a critical name constraint: "inside.test"
    std::string criticalExtension; // an identifier nobody knows
    int firstDay = -1;             // days from now
    int lastDay = 1000;
    unsigned rsaBits = 0; // an RSA key of so many bits; 0: what the system likes best
};

// Signed by issuer's key in its name, or by itself without one.
Issued issue(const Recipe& recipe, const Issued* issuer = nullptr);

Recipe named(const std::string& commonName);
Recipe serverNamed(const std::string& commonName);
Recipe authorityNamed(const std::string& commonName);

// Another signature than the issuer's: the last byte is changed.
Issued withBrokenSignature(const Issued& issued);

// The encoded certificate.
std::string der(const Issued& issued);

} // namespace VexaSsl::test
