// Contract: certificates (CryptoAPI and its picker). Names, arguments and results are those of the
// Windows functions; failures leave a number for GetLastError. A PCCERT_CONTEXT is reference
// counted and immutable: any thread may use one that its caller keeps alive.
#pragma once

#include "CryptoShapes.h"

namespace VexaSsl::platform {

// provider CERT_STORE_PROV_SYSTEM_W, parameter the wide text "MY": the local machine's personal
// store, read only. Null on failure.
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

PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT certificate); // null gives null
BOOL CertFreeCertificateContext(PCCERT_CONTEXT certificate);                // null is harmless
// Non-zero when issuer and serial number are the same.
BOOL CertCompareCertificate(DWORD encoding, CERT_INFO* left, CERT_INFO* right);

// Builds the chain of certificate for the usage in parameters, with the certificates of its own
// store as helpers. TRUE with *chain to be freed, also for a bad chain; FALSE when none could be
// built at all.
BOOL CertGetCertificateChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT certificate, FILETIME* time,
                             HCERTSTORE additionalStore, CERT_CHAIN_PARA* parameters, DWORD flags,
                             void* reserved, PCCERT_CHAIN_CONTEXT* chain);

// policy CERT_CHAIN_POLICY_SSL. TRUE: status tells the verdict, dwError 0 for a trusted chain, else
// the fault with lChainIndex and lElementIndex (-1: none). FALSE: the check could not run; a null
// chain gives that.
BOOL CertVerifyCertificateChainPolicy(const char* policy, PCCERT_CHAIN_CONTEXT chain,
                                      CERT_CHAIN_POLICY_PARA* parameters,
                                      CERT_CHAIN_POLICY_STATUS* status);
void CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT chain); // null is harmless

// CERT_NAME_DNS_TYPE with CERT_NAME_SEARCH_ALL_NAMES_FLAG: every DNS name, each zero-terminated, an
// empty one behind the last. CERT_NAME_FRIENDLY_DISPLAY_TYPE: one display name. Result: units
// written or, without a buffer, needed, terminators included; 1 when there is no name.
DWORD CertGetNameStringW(PCCERT_CONTEXT certificate, DWORD type, DWORD flags, void* typeParameter,
                         wchar_t* buffer, DWORD size);

// Lets the user pick a certificate of the store. Null when the user declines or can't be asked.
PCCERT_CONTEXT CryptUIDlgSelectCertificateFromStore(HCERTSTORE store, HWND parent,
                                                    const wchar_t* title, const wchar_t* display,
                                                    DWORD dontUseColumn, DWORD flags,
                                                    void* reserved);

} // namespace VexaSsl::platform
