// The names in a certificate, safe for a log line, a comparison and a terminal. Any thread.
#pragma once

#include <openssl/x509.h>

#include <string>
#include <vector>

namespace VexaSsl::openssl {

// Returns the DNS names of the subject alternative name extension in their order, then each common
// name of the subject that looks like a DNS name and isn't in the list yet. Empty names and names
// with other than visible ASCII characters are skipped.
std::vector<std::wstring> dnsNamesOf(const X509* certificate);

// Returns the last common name, else the organisation, the first DNS name or the e-mail address,
// made printable; empty when the certificate has none of them.
std::wstring displayNameOf(const X509* certificate);

// Returns the issuer's common name, else its organisation, made printable.
std::wstring issuerNameOf(const X509* certificate);

// Returns all attributes in their order, "CN=one, O=two", made printable. Values with special
// characters are in quotes.
std::wstring distinguishedNameOf(const X509_NAME* name);

// Returns text with "?" for each control character and each one that changes the text's direction.
std::wstring printable(std::wstring text);

} // namespace VexaSsl::openssl
