#include "platform/openssl/stores/TargetName.h"

#include "platform/linux/base/Utf8.h"
#include "platform/openssl/stores/NameConstraints.h"
#include "platform/openssl/stores/OpenSslOwners.h"
#include "platform/openssl/stores/VerificationParameters.h"

#include <openssl/tls1.h>
#include <openssl/x509v3.h>

#include <arpa/inet.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace VexaSsl::openssl {
namespace {

bool isAddressLiteral(const std::string& text) {
    in6_addr address;
    return inet_pton(AF_INET, text.c_str(), &address) == 1 ||
           inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

// The resolver also accepts addresses such as "127.1", "127.0.0.01" and "0x7f000001". As a DNS name
// one of these could match a wildcard.
bool isOtherAddressForm(const std::string& text) {
    in_addr address;
    return inet_aton(text.c_str(), &address) != 0;
}

// Certificates contain addresses without the zone: for "fe80::1%eth0", fe80::1.
std::string withoutZone(const std::string& text) {
    return text.substr(0, text.find('%'));
}

} // namespace

std::optional<TargetName> TargetName::parse(const wchar_t* text) {
    const std::wstring_view units = text ? text : L"";
    const bool isText = std::all_of(units.begin(), units.end(), [](wchar_t unit) {
        return linux::isScalarValue(static_cast<char32_t>(unit));
    });
    std::string name = isText ? linux::wideToUtf8(units) : std::string();
    // Before the check for addresses: "10.0.0.1." must not be compared with DNS names.
    if (name.ends_with('.')) {
        name.pop_back();
    }
    if (const std::string address = withoutZone(name); isAddressLiteral(address)) {
        return TargetName(address, true);
    }
    if (name.empty() || name.starts_with('.') || name.starts_with('[') ||
        isOtherAddressForm(name)) {
        return std::nullopt;
    }
    return TargetName(std::move(name), false);
}

void TargetName::applyTo(SSL* ssl) const {
    X509_VERIFY_PARAM* checks = SSL_get0_param(ssl);
    if (isAddress) {
        orOutOfMemory(X509_VERIFY_PARAM_set1_ip_asc(checks, name.c_str()));
        return;
    }
    orOutOfMemory(X509_VERIFY_PARAM_set1_host(checks, name.data(), name.size()));
    // A longer name doesn't fit into the server_name extension, and no certificate has it.
    if (name.size() <= TLSEXT_MAXLEN_host_name) {
        orOutOfMemory(SSL_set_tlsext_host_name(ssl, name.c_str()));
    }
}

bool TargetName::matches(X509* certificate) const noexcept {
    const ErrorQueueGuard errors;
    if (isAddress) {
        return X509_check_ip_asc(certificate, name.c_str(), 0) == 1;
    }
    return X509_check_host(certificate, name.data(), name.size(), serverNameFlags, nullptr) == 1;
}

// Addresses are compared whole, and OpenSSL has checked the certificate's.
bool TargetName::isPermittedIn(const STACK_OF(X509) * chain) const noexcept {
    return isAddress || constraintError(name.c_str(), chain) == X509_V_OK;
}

} // namespace VexaSsl::openssl
