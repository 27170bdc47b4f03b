// Texts and usages that the searches look at, taken from a certificate. Stateless; any thread.
#pragma once

#include <openssl/x509.h>

#include <string>
#include <vector>

namespace VexaSsl::openssl {

// The values of the subject's attributes in their order, joined by ", ".
std::wstring subjectText(const X509* certificate);

// One attribute's value as wide text; empty when it can't be read.
std::wstring attributeText(const X509_NAME_ENTRY* attribute);

// For comparisons that don't tell small letters from capitals, in any script.
std::wstring foldCase(std::wstring text);

// The object identifiers of the extended key usage extension. Result: whether there is one.
bool readUsages(const X509* certificate, std::vector<std::string>& usages);

} // namespace VexaSsl::openssl
