// What is printed on a certificate, as texts and moments. Names on it were chosen by whoever made
// it: they go to a terminal through shownName only.
//
// Plain values; any thread.
#pragma once

#include "certificates/UtcTime.h"
#include "common/JsonLine.h"

#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::tool {

struct CertificateFacts {
    std::wstring name;    // to call it by
    std::wstring subject; // "CN=one, O=two"
    std::wstring issuer;
    std::vector<std::wstring> names; // DNS names
    UtcTime notBefore = 0;
    UtcTime notAfter = 0;
    bool restricted = false;         // it has the extension that lists usages; without it, any
    std::vector<std::string> usages; // object identifiers
    std::string thumbprint;          // SHA-1 as Windows' consoles show it, in hexadecimal
    std::string sha256;              // empty where the platform doesn't tell
};

CertificateFacts factsOf(PCCERT_CONTEXT certificate);

// Both are the same certificate, to the last byte.
bool areSame(PCCERT_CONTEXT left, PCCERT_CONTEXT right);

// "server authentication" for an identifier that has a name here, else the identifier.
std::string usageName(const std::string& identifier);

// For a person: what could steer a terminal or turn the direction of text becomes "?".
std::string shownLine(std::wstring_view text);
// The same; a name too long to read is cut.
std::string shownName(std::wstring_view text);
// "one, two and 9998 more"; "none" for an empty list.
std::string shownNames(const std::vector<std::wstring>& names);
std::string shownUsages(const CertificateFacts& facts);
// The name, or the subject of a certificate without one.
std::string shownTitle(const CertificateFacts& facts);

// Lines of "label  value" for a person, indented; title and line ends excluded.
std::vector<std::string> factLines(const CertificateFacts& facts);
// The same for a script, complete.
void addFacts(JsonLine& line, const CertificateFacts& facts);

} // namespace VexaSsl::tool
