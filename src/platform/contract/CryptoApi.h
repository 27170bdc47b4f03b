// Contract: certificates, their stores and chains, and the certificate picker. Names, arguments and
// results are those of the CryptoAPI functions; a failure sets the last error. A PCCERT_CONTEXT is
// reference counted and immutable: any thread may use one while it holds a reference.
#pragma once

#include "CryptoShapes.h" // IWYU pragma: export

namespace VexaSsl::platform {

// Opens a store. provider CERT_STORE_PROV_SYSTEM_W with the wide text "MY" as parameter: the local
// machine's personal store, read only. provider CERT_STORE_PROV_MEMORY with null and flags 0: a new
// empty store in memory. Returns null on failure.
HCERTSTORE CertOpenStore(const char* provider, DWORD encoding, HCRYPTPROV_LEGACY cryptoProvider,
                         DWORD flags, const void* parameter);

// Closes the store in any case; null is harmless. With CERT_CLOSE_STORE_CHECK_FLAG, returns FALSE
// with CRYPT_E_PENDING_CLOSE while a context obtained through this handle is still held. This and
// every other call refuses a handle that has been closed, with E_INVALIDARG; Windows doesn't
// recognise one.
BOOL CertCloseStore(HCERTSTORE store, DWORD flags);

// Returns the next matching certificate after previous (null: the first) in a stable order, and
// releases previous. findType CERT_FIND_SUBJECT_STR_W: parameter is wide text, searched for in the
// subject without regard to case. CERT_FIND_ENHKEY_USAGE: parameter is a CERT_ENHKEY_USAGE. Returns
// null with CRYPT_E_NOT_FOUND at the end.
PCCERT_CONTEXT CertFindCertificateInStore(HCERTSTORE store, DWORD encoding, DWORD findFlags,
                                          DWORD findType, const void* parameter,
                                          PCCERT_CONTEXT previous);
// The same for every certificate of the store.
PCCERT_CONTEXT CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous);

// Appends a DER certificate to a store in memory. disposition is CERT_STORE_ADD_ALWAYS. Unless
// certificate is null, *certificate receives a reference to it. Returns FALSE for an invalid
// encoding and for a store that isn't in memory. No other thread may use the store during the call.
BOOL CertAddEncodedCertificateToStore(HCERTSTORE store, DWORD encoding, const BYTE* encoded,
                                      DWORD size, DWORD disposition, PCCERT_CONTEXT* certificate);

PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT certificate); // null gives null
BOOL CertFreeCertificateContext(PCCERT_CONTEXT certificate);                // null is harmless
// Returns non-zero when issuer and serial number are equal.
BOOL CertCompareCertificate(DWORD encoding, CERT_INFO* left, CERT_INFO* right);

// With CERT_FIND_EXT_ONLY_ENHKEY_USAGE_FLAG: writes the object identifiers of the extended key
// usage extension into one block of *size bytes that begins with usage. With a null usage, *size
// becomes the size needed. Returns FALSE with CRYPT_E_NOT_FOUND for a certificate without the
// extension, which permits every usage.
BOOL CertGetEnhancedKeyUsage(PCCERT_CONTEXT certificate, DWORD flags, CERT_ENHKEY_USAGE* usage,
                             DWORD* size);

// property CERT_SHA1_HASH_PROP_ID or CERT_SHA256_HASH_PROP_ID: writes the hash of the encoded
// certificate. *size is the capacity of data on entry and the bytes written on return. A binding
// may support SHA-1 only.
BOOL CertGetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property, void* data,
                                       DWORD* size);

// Builds the chain of certificate for the usage in parameters. The certificate's own store is
// searched for intermediates. Returns TRUE with *chain, which the caller frees, for an invalid
// chain too; FALSE when no chain could be built.
BOOL CertGetCertificateChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT certificate, FILETIME* time,
                             HCERTSTORE additionalStore, CERT_CHAIN_PARA* parameters, DWORD flags,
                             void* reserved, PCCERT_CHAIN_CONTEXT* chain);

// Checks the chain against policy, which is CERT_CHAIN_POLICY_SSL. parameters may carry an
// SSL_EXTRA_CERT_CHAIN_POLICY_PARA: with AUTHTYPE_SERVER and a name, the certificate must match
// that name as in a client's handshake, else the error is CERT_E_CN_NO_MATCH; fdwChecks names other
// errors to ignore. The name is checked last. Returns TRUE when the check ran: status->dwError is 0
// for a trusted chain, else the error, located by lChainIndex and lElementIndex (-1: no single
// element). Returns FALSE when it could not run, for example with a null chain.
BOOL CertVerifyCertificateChainPolicy(const char* policy, PCCERT_CHAIN_CONTEXT chain,
                                      CERT_CHAIN_POLICY_PARA* parameters,
                                      CERT_CHAIN_POLICY_STATUS* status);
void CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT chain); // null is harmless

// CERT_NAME_DNS_TYPE with CERT_NAME_SEARCH_ALL_NAMES_FLAG: every DNS name, each zero-terminated,
// then an empty one. CERT_NAME_FRIENDLY_DISPLAY_TYPE: one display name. CERT_NAME_RDN_TYPE: the
// whole subject, or with CERT_NAME_ISSUER_FLAG the issuer; typeParameter is a DWORD with the
// format, CERT_X500_NAME_STR for "CN=one, O=two". Returns the units written or, without a buffer,
// needed, terminators included; 1 when there is no name.
DWORD CertGetNameStringW(PCCERT_CONTEXT certificate, DWORD type, DWORD flags, void* typeParameter,
                         wchar_t* buffer, DWORD size);

// Lets the user pick a certificate of the store. Returns null when the user declines or can't be
// asked.
PCCERT_CONTEXT CryptUIDlgSelectCertificateFromStore(HCERTSTORE store, HWND parent,
                                                    const wchar_t* title, const wchar_t* display,
                                                    DWORD dontUseColumn, DWORD flags,
                                                    void* reserved);

} // namespace VexaSsl::platform
