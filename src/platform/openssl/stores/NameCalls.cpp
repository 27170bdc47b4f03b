// CertGetNameStringW.
#include "platform/contract/CryptoApi.h"

#include "platform/linux/base/BaseErrors.h"
#include "platform/openssl/stores/CertificateNames.h"
#include "platform/openssl/stores/Store.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace VexaSsl::openssl {
namespace {

DWORD sizeOf(const std::vector<std::wstring>& names) {
    std::size_t size = 1;
    for (const std::wstring& name : names) {
        size += name.size() + 1;
    }
    return static_cast<DWORD>(size);
}

// Stops at the first name that doesn't fit: a truncated name could be mistaken for another one.
DWORD writeNames(const std::vector<std::wstring>& names, wchar_t* buffer, DWORD size) {
    wchar_t* next = buffer;
    wchar_t* const end = buffer + size - 1; // leaves room for the empty name
    for (const std::wstring& name : names) {
        if (name.size() + 1 > static_cast<std::size_t>(end - next)) {
            break;
        }
        next = std::copy(name.begin(), name.end(), next);
        *next++ = L'\0';
    }
    *next++ = L'\0';
    return static_cast<DWORD>(next - buffer);
}

DWORD writeName(const std::wstring& name, wchar_t* buffer, DWORD size) {
    const std::size_t length = std::min<std::size_t>(name.size(), size - 1);
    *std::copy_n(name.begin(), length, buffer) = L'\0';
    return static_cast<DWORD>(length + 1);
}

DWORD copyName(const std::wstring& name, wchar_t* buffer, DWORD size) {
    return buffer && size ? writeName(name, buffer, size) : static_cast<DWORD>(name.size() + 1);
}

DWORD copyNames(const std::vector<std::wstring>& names, wchar_t* buffer, DWORD size) {
    return buffer && size ? writeNames(names, buffer, size) : sizeOf(names);
}

DWORD copyEmptyName(wchar_t* buffer, DWORD size) noexcept {
    if (buffer && size) {
        *buffer = L'\0';
    }
    return 1;
}

} // namespace
} // namespace VexaSsl::openssl

namespace VexaSsl::platform {

using namespace openssl;

DWORD CertGetNameStringW(PCCERT_CONTEXT certificate, DWORD type, DWORD flags, void*,
                         wchar_t* buffer, DWORD size) {
    if (!certificate) {
        return copyEmptyName(buffer, size);
    }
    const DWORD written = linux::guarded(DWORD{0}, [&]() -> DWORD {
        const X509* x509 = Context::of(certificate).certificate->x509();
        if (type == CERT_NAME_FRIENDLY_DISPLAY_TYPE) {
            return copyName(displayNameOf(x509), buffer, size);
        }
        if (type == CERT_NAME_RDN_TYPE) {
            const bool ofIssuer = (flags & CERT_NAME_ISSUER_FLAG) != 0;
            const X509_NAME* name =
                ofIssuer ? X509_get_issuer_name(x509) : X509_get_subject_name(x509);
            return copyName(distinguishedNameOf(name), buffer, size);
        }
        if (type != CERT_NAME_DNS_TYPE) {
            return copyEmptyName(buffer, size);
        }
        const std::vector<std::wstring> names = dnsNamesOf(x509);
        if (flags & CERT_NAME_SEARCH_ALL_NAMES_FLAG) {
            return copyNames(names, buffer, size);
        }
        return copyName(names.empty() ? std::wstring() : names.front(), buffer, size);
    });
    return written ? written : copyEmptyName(buffer, size);
}

} // namespace VexaSsl::platform
