#include "platform/contract/CryptoApi.h"

// clang-format off
#include <prsht.h> // cryptuiapi.h needs it and doesn't include it
#include <cryptuiapi.h>
// clang-format on

namespace VexaSsl::platform {

HCERTSTORE CertOpenStore(const char* provider, DWORD encoding, HCRYPTPROV_LEGACY cryptoProvider,
                         DWORD flags, const void* parameter) {
    return ::CertOpenStore(provider, encoding, cryptoProvider, flags, parameter);
}

BOOL CertCloseStore(HCERTSTORE store, DWORD flags) {
    return ::CertCloseStore(store, flags);
}

PCCERT_CONTEXT CertFindCertificateInStore(HCERTSTORE store, DWORD encoding, DWORD findFlags,
                                          DWORD findType, const void* parameter,
                                          PCCERT_CONTEXT previous) {
    return ::CertFindCertificateInStore(store, encoding, findFlags, findType, parameter, previous);
}

PCCERT_CONTEXT CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous) {
    return ::CertEnumCertificatesInStore(store, previous);
}

BOOL CertAddEncodedCertificateToStore(HCERTSTORE store, DWORD encoding, const BYTE* encoded,
                                      DWORD size, DWORD disposition, PCCERT_CONTEXT* certificate) {
    return ::CertAddEncodedCertificateToStore(store, encoding, encoded, size, disposition,
                                              certificate);
}

PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT certificate) {
    return ::CertDuplicateCertificateContext(certificate);
}

BOOL CertFreeCertificateContext(PCCERT_CONTEXT certificate) {
    return ::CertFreeCertificateContext(certificate);
}

BOOL CertCompareCertificate(DWORD encoding, CERT_INFO* left, CERT_INFO* right) {
    return ::CertCompareCertificate(encoding, left, right);
}

BOOL CertGetEnhancedKeyUsage(PCCERT_CONTEXT certificate, DWORD flags, CERT_ENHKEY_USAGE* usage,
                             DWORD* size) {
    return ::CertGetEnhancedKeyUsage(certificate, flags, usage, size);
}

BOOL CertGetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property, void* data,
                                       DWORD* size) {
    return ::CertGetCertificateContextProperty(certificate, property, data, size);
}

BOOL CertGetCertificateChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT certificate, FILETIME* time,
                             HCERTSTORE additionalStore, CERT_CHAIN_PARA* parameters, DWORD flags,
                             void* reserved, PCCERT_CHAIN_CONTEXT* chain) {
    return ::CertGetCertificateChain(engine, certificate, time, additionalStore, parameters, flags,
                                     reserved, chain);
}

BOOL CertVerifyCertificateChainPolicy(const char* policy, PCCERT_CHAIN_CONTEXT chain,
                                      CERT_CHAIN_POLICY_PARA* parameters,
                                      CERT_CHAIN_POLICY_STATUS* status) {
    return ::CertVerifyCertificateChainPolicy(policy, chain, parameters, status);
}

void CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT chain) {
    ::CertFreeCertificateChain(chain);
}

DWORD CertGetNameStringW(PCCERT_CONTEXT certificate, DWORD type, DWORD flags, void* typeParameter,
                         wchar_t* buffer, DWORD size) {
    return ::CertGetNameStringW(certificate, type, flags, typeParameter, buffer, size);
}

PCCERT_CONTEXT CryptUIDlgSelectCertificateFromStore(HCERTSTORE store, HWND parent,
                                                    const wchar_t* title, const wchar_t* display,
                                                    DWORD dontUseColumn, DWORD flags,
                                                    void* reserved) {
    return ::CryptUIDlgSelectCertificateFromStore(store, parent, title, display, dontUseColumn,
                                                  flags, reserved);
}

} // namespace VexaSsl::platform
