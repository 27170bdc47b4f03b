// Certificates made on the spot for tests of the portable platform: one call an authority or leaf,
// every oddity a field of the recipe.
#pragma once

#include "platform/portable/certificates/OpenSslOwners.h"

#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::testing {

struct Issued {
    portable::X509Pointer certificate;
    portable::KeyPointer key;
};

struct Recipe {
    // Attribute and UTF-8 value, in this order; {"CN", "localhost"}.
    std::vector<std::pair<std::string, std::string>> subject;
    std::vector<std::string> dnsNames; // bytes as they are, zeros included
    std::vector<std::string> emailNames;
    std::string usages;            // as in OpenSSL's configuration: "serverAuth,clientAuth"
    std::string basicConstraints;  // "critical,CA:TRUE"
    std::string nameConstraints;   // "permitted;DNS:inside.test"
    std::string criticalExtension; // an identifier nobody knows
    int firstDay = -1;             // days from now
    int lastDay = 1000;
    unsigned rsaBits = 0; // an RSA key of so many bits; 0: an elliptic curve's
};

// Signed by issuer's key in its name, or by itself without one.
Issued issue(const Recipe& recipe, const Issued* issuer = nullptr);

Recipe named(const std::string& commonName);
Recipe serverNamed(const std::string& commonName);
Recipe authorityNamed(const std::string& commonName);

// Another signature than the issuer's: the last byte is changed.
Issued withBrokenSignature(const Issued& issued);

std::string pem(const X509* certificate);
std::string pem(const Issued& issued); // the certificate alone
std::string keyPem(const Issued& issued);
std::string closedKeyPem(const Issued& issued, const std::string& passPhrase);
std::string der(const Issued& issued);
std::string pkcs12(const Issued& issued, const std::vector<const Issued*>& helpers,
                   const std::string& password);

} // namespace VexaSsl::testing
