// The CryptoAPI types and constants of src/platform/contract/CryptoApi.h (wincrypt.h, wininet.h,
// winerror.h).
#pragma once

#include "BaseShapes.h" // IWYU pragma: export

namespace VexaSsl {

using HCERTSTORE = void*;
using HCERTCHAINENGINE = void*;
using HCRYPTPROV_LEGACY = ULONG_PTR;

struct FILETIME {
    DWORD dwLowDateTime = 0;
    DWORD dwHighDateTime = 0;
};

struct CRYPTOAPI_BLOB {
    DWORD cbData = 0;
    BYTE* pbData = nullptr;
};

// Parts of a certificate. The blobs are DER encodings owned by its context.
struct CERT_INFO {
    DWORD dwVersion = 0;
    CRYPTOAPI_BLOB SerialNumber;
    CRYPTOAPI_BLOB Issuer;
    FILETIME NotBefore;
    FILETIME NotAfter;
    CRYPTOAPI_BLOB Subject;
};

struct CERT_CONTEXT {
    DWORD dwCertEncodingType = 0;
    BYTE* pbCertEncoded = nullptr;
    DWORD cbCertEncoded = 0;
    CERT_INFO* pCertInfo = nullptr;
    HCERTSTORE hCertStore = nullptr;
};
using PCCERT_CONTEXT = const CERT_CONTEXT*;

inline constexpr DWORD X509_ASN_ENCODING = 0x1;
inline constexpr DWORD PKCS_7_ASN_ENCODING = 0x10000;

// Store providers and chain policies are identified by small numbers instead of a name.
inline const char* const CERT_STORE_PROV_MEMORY = reinterpret_cast<const char*>(ULONG_PTR{2});
inline const char* const CERT_STORE_PROV_SYSTEM_W = reinterpret_cast<const char*>(ULONG_PTR{10});
inline const char* const CERT_CHAIN_POLICY_SSL = reinterpret_cast<const char*>(ULONG_PTR{4});
inline constexpr DWORD CERT_SYSTEM_STORE_LOCAL_MACHINE = 0x20000;
inline constexpr DWORD CERT_STORE_READONLY_FLAG = 0x8000;
inline constexpr DWORD CERT_STORE_OPEN_EXISTING_FLAG = 0x4000;
inline constexpr DWORD CERT_CLOSE_STORE_CHECK_FLAG = 2;
inline constexpr DWORD CERT_STORE_ADD_ALWAYS = 4;
inline constexpr DWORD CERT_FIND_SUBJECT_STR_W = 0x80007;
inline constexpr DWORD CERT_FIND_ENHKEY_USAGE = 0xA0000;

struct CERT_ENHKEY_USAGE {
    DWORD cUsageIdentifier = 0;
    char** rgpszUsageIdentifier = nullptr;
};

inline constexpr DWORD CERT_FIND_EXT_ONLY_ENHKEY_USAGE_FLAG = 2;
inline constexpr DWORD CERT_SHA1_HASH_PROP_ID = 3;
inline constexpr DWORD CERT_SHA256_HASH_PROP_ID = 107;

struct CERT_USAGE_MATCH {
    DWORD dwType = 0;
    CERT_ENHKEY_USAGE Usage;
};
inline constexpr DWORD USAGE_MATCH_TYPE_AND = 0;

struct CERT_CHAIN_PARA {
    DWORD cbSize = 0;
    CERT_USAGE_MATCH RequestedUsage;
};

struct CERT_TRUST_STATUS {
    DWORD dwErrorStatus = 0;
    DWORD dwInfoStatus = 0;
};
inline constexpr DWORD CERT_TRUST_NO_ERROR = 0;
inline constexpr DWORD CERT_TRUST_IS_NOT_TIME_VALID = 0x1;
inline constexpr DWORD CERT_TRUST_IS_REVOKED = 0x4;
inline constexpr DWORD CERT_TRUST_IS_NOT_SIGNATURE_VALID = 0x8;
inline constexpr DWORD CERT_TRUST_IS_NOT_VALID_FOR_USAGE = 0x10;
inline constexpr DWORD CERT_TRUST_IS_UNTRUSTED_ROOT = 0x20;
inline constexpr DWORD CERT_TRUST_REVOCATION_STATUS_UNKNOWN = 0x40;
inline constexpr DWORD CERT_TRUST_INVALID_EXTENSION = 0x100;
inline constexpr DWORD CERT_TRUST_INVALID_BASIC_CONSTRAINTS = 0x400;
inline constexpr DWORD CERT_TRUST_INVALID_NAME_CONSTRAINTS = 0x800;
inline constexpr DWORD CERT_TRUST_IS_PARTIAL_CHAIN = 0x10000;

struct CERT_CHAIN_ELEMENT {
    DWORD cbSize = 0;
    PCCERT_CONTEXT pCertContext = nullptr;
    CERT_TRUST_STATUS TrustStatus;
};

struct CERT_SIMPLE_CHAIN {
    DWORD cbSize = 0;
    CERT_TRUST_STATUS TrustStatus;
    DWORD cElement = 0;
    CERT_CHAIN_ELEMENT** rgpElement = nullptr; // the certificate first, its root last
};

struct CERT_CHAIN_CONTEXT {
    DWORD cbSize = 0;
    CERT_TRUST_STATUS TrustStatus;
    DWORD cChain = 0;
    CERT_SIMPLE_CHAIN** rgpChain = nullptr;
};
using PCCERT_CHAIN_CONTEXT = const CERT_CHAIN_CONTEXT*;

struct CERT_CHAIN_POLICY_PARA {
    DWORD cbSize = 0;
    DWORD dwFlags = 0;
    void* pvExtraPolicyPara = nullptr;
};

// CERT_CHAIN_POLICY_PARA::pvExtraPolicyPara of CERT_CHAIN_POLICY_SSL.
struct SSL_EXTRA_CERT_CHAIN_POLICY_PARA {
    DWORD cbSize = 0;
    DWORD dwAuthType = 0;
    DWORD fdwChecks = 0;
    wchar_t* pwszServerName = nullptr;
};
inline constexpr DWORD AUTHTYPE_SERVER = 2;
inline constexpr DWORD SECURITY_FLAG_IGNORE_UNKNOWN_CA = 0x100;
inline constexpr DWORD SECURITY_FLAG_IGNORE_WRONG_USAGE = 0x200;
inline constexpr DWORD SECURITY_FLAG_IGNORE_CERT_DATE_INVALID = 0x2000;

struct CERT_CHAIN_POLICY_STATUS {
    DWORD cbSize = 0;
    DWORD dwError = 0;
    LONG lChainIndex = 0;
    LONG lElementIndex = 0;
    void* pvExtraPolicyStatus = nullptr;
};

inline constexpr DWORD CERT_NAME_RDN_TYPE = 2;
inline constexpr DWORD CERT_NAME_FRIENDLY_DISPLAY_TYPE = 5;
inline constexpr DWORD CERT_NAME_DNS_TYPE = 6;
inline constexpr DWORD CERT_NAME_SEARCH_ALL_NAMES_FLAG = 2;
inline constexpr DWORD CERT_NAME_ISSUER_FLAG = 1;
inline constexpr DWORD CERT_SIMPLE_NAME_STR = 1;
inline constexpr DWORD CERT_X500_NAME_STR = 3;
inline constexpr DWORD CERT_NAME_STR_NO_QUOTING_FLAG = 0x10000000;

inline constexpr DWORD CRYPT_E_NOT_FOUND = 0x80092004;
inline constexpr DWORD CRYPT_E_PENDING_CLOSE = 0x8009200F;
inline constexpr DWORD CRYPT_E_REVOKED = 0x80092010;
inline constexpr DWORD CRYPT_E_NO_REVOCATION_CHECK = 0x80092012;
inline constexpr DWORD CRYPT_E_ASN1_BADTAG = 0x8009310B;
inline constexpr DWORD TRUST_E_CERT_SIGNATURE = 0x80096004;
inline constexpr DWORD TRUST_E_BASIC_CONSTRAINTS = 0x80096019;
inline constexpr DWORD CERT_E_EXPIRED = 0x800B0101;
inline constexpr DWORD CERT_E_UNTRUSTEDROOT = 0x800B0109;
inline constexpr DWORD CERT_E_CHAINING = 0x800B010A;
inline constexpr DWORD CERT_E_REVOKED = 0x800B010C;
inline constexpr DWORD CERT_E_CN_NO_MATCH = 0x800B010F;
inline constexpr DWORD CERT_E_WRONG_USAGE = 0x800B0110;
inline constexpr DWORD CERT_E_INVALID_NAME = 0x800B0114;
inline constexpr DWORD CERT_E_CRITICAL = 0x800B0105;

} // namespace VexaSsl
