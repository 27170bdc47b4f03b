// The names on a certificate as texts that are safe in a log line, in a comparison and on a
// terminal. Stateless; any thread.
#pragma once

#include <openssl/x509.h>

#include <string>
#include <vector>

namespace VexaSsl::openssl {

// The DNS names of the alternative names in their order, then the common name if it looks like a
// DNS name and isn't among them. An empty name and one with anything but visible ASCII
// characters in it are left out.
std::vector<std::wstring> dnsNamesOf(const X509* certificate);

// The common name, else the organisation, else the first DNS name, else the e-mail address; empty
// if there is none of them. Control characters become "?".
std::wstring displayNameOf(const X509* certificate);

// The same for the certificate's issuer, of its common name or organisation.
std::wstring issuerNameOf(const X509* certificate);

// The whole subject or issuer, the attributes in their order: "CN=one, O=two", values with special
// characters in quotes. Control characters become "?".
std::wstring distinguishedNameOf(const X509_NAME* name);

// Control characters, and those that turn the direction of text, become "?".
std::wstring printable(std::wstring text);

} // namespace VexaSsl::openssl
