// The contents of a certificate as texts and times. Its issuer chose the names: print them through
// shownName only.
//
// Plain values; any thread.
#pragma once

#include "certificates/KeyFacts.h"
#include "certificates/UtcTime.h"
#include "common/JsonLine.h"

#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::tool {

struct CertificateFacts {
    std::wstring name;    // the display name
    std::wstring subject; // "CN=one, O=two"
    std::wstring issuer;
    std::vector<std::wstring> names; // DNS names
    UtcTime notBefore = 0;
    UtcTime notAfter = 0;
    bool restricted =
        false; // it has the extension that lists usages; without it, any usage is allowed
    std::vector<std::string> usages; // object identifiers
    std::string thumbprint;          // SHA-1 as Windows' consoles show it, in hexadecimal
    std::string sha256;              // empty if the platform doesn't report it
    KeyFacts key;
    std::vector<BYTE> encoded; // DER
};

CertificateFacts factsOf(PCCERT_CONTEXT certificate);

// Whether both are the same certificate, byte by byte.
bool areSame(PCCERT_CONTEXT left, PCCERT_CONTEXT right);

// Returns "server authentication" for an identifier that has a name here, else the identifier.
std::string usageName(const std::string& identifier);

// For a user: characters that could control a terminal or change the direction of text become "?".
std::string shownLine(std::wstring_view text);
// The same, truncated when it is too long to read.
std::string shownName(std::wstring_view text);
// "one, two and 9998 more"; "none" for an empty list.
std::string shownNames(const std::vector<std::wstring>& names);
std::string shownUsages(const CertificateFacts& facts);
// The name, or the subject of a certificate without one.
std::string shownTitle(const CertificateFacts& facts);

// Returns lines of "label  value" for a user, without title and line ends.
std::vector<std::string> factLines(const CertificateFacts& facts);
// Adds every fact, for a script.
void addFacts(JsonLine& line, const CertificateFacts& facts);
// Returns the certificate in PEM.
std::string pemText(const CertificateFacts& facts);

} // namespace VexaSsl::tool
