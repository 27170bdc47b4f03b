// Contract: certificates (CryptoAPI and its picker). Names, arguments and results are those of the
// Windows functions; failures leave a number for GetLastError. A PCCERT_CONTEXT is reference
// counted and immutable: any thread may use one that its caller keeps alive.
#pragma once

#include "CryptoShapes.h" // IWYU pragma: export

namespace VexaSsl::platform {

// provider CERT_STORE_PROV_SYSTEM_W, parameter the wide text "MY": the local machine's personal
// store, read only. provider CERT_STORE_PROV_MEMORY: a new empty store, for certificates that come
// from elsewhere; its parameter and flags are null and 0. Null on failure.
HCERTSTORE CertOpenStore(const char* provider, DWORD encoding, HCRYPTPROV_LEGACY cryptoProvider,
                         DWORD flags, const void* parameter);

// With CERT_CLOSE_STORE_CHECK_FLAG: FALSE and CRYPT_E_PENDING_CLOSE when a context that this handle
// handed out is still held. The store is closed in any case.
BOOL CertCloseStore(HCERTSTORE store, DWORD flags);

// The next certificate after previous (null: the first) in a stable order; previous is released.
// findType CERT_FIND_SUBJECT_STR_W (parameter: wide text, found anywhere in the subject whatever
// its case) or CERT_FIND_ENHKEY_USAGE (parameter: CERT_ENHKEY_USAGE). Null at the end with
// CRYPT_E_NOT_FOUND.
PCCERT_CONTEXT CertFindCertificateInStore(HCERTSTORE store, DWORD encoding, DWORD findFlags,
                                          DWORD findType, const void* parameter,
                                          PCCERT_CONTEXT previous);
PCCERT_CONTEXT CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous);

// Puts a certificate (DER) behind the others of a store in memory, with CERT_STORE_ADD_ALWAYS, and
// gives a reference to it unless certificate is null. FALSE for bytes that are none, and for a
// store that isn't in memory. Nobody else may use the store meanwhile.
BOOL CertAddEncodedCertificateToStore(HCERTSTORE store, DWORD encoding, const BYTE* encoded,
                                      DWORD size, DWORD disposition, PCCERT_CONTEXT* certificate);

PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT certificate); // null gives null
BOOL CertFreeCertificateContext(PCCERT_CONTEXT certificate);                // null is harmless
// Non-zero when issuer and serial number are the same.
BOOL CertCompareCertificate(DWORD encoding, CERT_INFO* left, CERT_INFO* right);

// With CERT_FIND_EXT_ONLY_ENHKEY_USAGE_FLAG: the object identifiers of the extended key usage
// extension, in one block of memory of *size bytes that begins with usage (null: *size becomes the
// size needed). FALSE and CRYPT_E_NOT_FOUND when there is no such extension, which means any usage.
BOOL CertGetEnhancedKeyUsage(PCCERT_CONTEXT certificate, DWORD flags, CERT_ENHKEY_USAGE* usage,
                             DWORD* size);

// property CERT_SHA1_HASH_PROP_ID or CERT_SHA256_HASH_PROP_ID: the hash of the encoded certificate.
// *size: the room in data on entry, the bytes written on return. A binding may lack the second.
BOOL CertGetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property, void* data,
                                       DWORD* size);

// Builds the chain of certificate for the usage in parameters, with the certificates of its own
// store as helpers. TRUE with *chain to be freed, also for a bad chain; FALSE when none could be
// built at all.
BOOL CertGetCertificateChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT certificate, FILETIME* time,
                             HCERTSTORE additionalStore, CERT_CHAIN_PARA* parameters, DWORD flags,
                             void* reserved, PCCERT_CHAIN_CONTEXT* chain);

// policy CERT_CHAIN_POLICY_SSL. parameters may carry an SSL_EXTRA_CERT_CHAIN_POLICY_PARA: with
// AUTHTYPE_SERVER and a name, the certificate must also be made out to that name, as a client's
// handshake would ask, else CERT_E_CN_NO_MATCH; its fdwChecks leave out other faults. The name is
// judged behind everything else. TRUE: status tells the verdict, dwError 0 for a trusted chain,
// else the fault with lChainIndex and lElementIndex (-1: none). FALSE: the check could not run; a
// null chain gives that.
BOOL CertVerifyCertificateChainPolicy(const char* policy, PCCERT_CHAIN_CONTEXT chain,
                                      CERT_CHAIN_POLICY_PARA* parameters,
                                      CERT_CHAIN_POLICY_STATUS* status);
void CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT chain); // null is harmless

// CERT_NAME_DNS_TYPE with CERT_NAME_SEARCH_ALL_NAMES_FLAG: every DNS name, each zero-terminated, an
// empty one behind the last. CERT_NAME_FRIENDLY_DISPLAY_TYPE: one display name. CERT_NAME_RDN_TYPE:
// the whole subject (with CERT_NAME_ISSUER_FLAG the issuer), typeParameter a DWORD that says how;
// CERT_X500_NAME_STR: "CN=one, O=two". Result: units written or, without a buffer, needed,
// terminators included; 1 when there is no name.
DWORD CertGetNameStringW(PCCERT_CONTEXT certificate, DWORD type, DWORD flags, void* typeParameter,
                         wchar_t* buffer, DWORD size);

// Lets the user pick a certificate of the store. Null when the user declines or can't be asked.
PCCERT_CONTEXT CryptUIDlgSelectCertificateFromStore(HCERTSTORE store, HWND parent,
                                                    const wchar_t* title, const wchar_t* display,
                                                    DWORD dontUseColumn, DWORD flags,
                                                    void* reserved);

} // namespace VexaSsl::platform
