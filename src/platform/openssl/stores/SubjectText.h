// The texts and usages of a certificate on which searches work. Any thread.
#pragma once

#include <openssl/x509.h>

#include <string>
#include <vector>

namespace VexaSsl::openssl {

// Returns the values of the subject's attributes in their order, joined by ", ".
std::wstring subjectText(const X509* certificate);

// Returns the attribute's value; empty when it can't be decoded.
std::wstring attributeText(const X509_NAME_ENTRY* attribute);

// Returns text in lower case, in any script, for case-insensitive comparisons.
std::wstring foldCase(std::wstring text);

// Appends the object identifiers of the extended key usage extension to usages. Returns whether the
// certificate has the extension.
bool readUsages(const X509* certificate, std::vector<std::string>& usages);

} // namespace VexaSsl::openssl
