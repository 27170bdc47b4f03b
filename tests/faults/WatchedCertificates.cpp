// The watched calls for certificates.
#include "faults/WatchedCall.h"

#include "platform/contract/CryptoApi.h"

namespace VexaSsl::watched {

HCERTSTORE CertOpenStore(const char* provider, DWORD encoding, HCRYPTPROV_LEGACY cryptoProvider,
                         DWORD flags, const void* parameter) {
    return held(Held::store, watched(Call::CertOpenStore, [&] {
                    return platform::CertOpenStore(provider, encoding, cryptoProvider, flags,
                                                   parameter);
                }));
}

BOOL CertCloseStore(HCERTSTORE store, DWORD flags) {
    countHeld(Held::store, -1);
    return watched(Call::CertCloseStore, [&] { return platform::CertCloseStore(store, flags); });
}

// The call releases previous even if it finds nothing.
PCCERT_CONTEXT CertFindCertificateInStore(HCERTSTORE store, DWORD encoding, DWORD findFlags,
                                          DWORD findType, const void* parameter,
                                          PCCERT_CONTEXT previous) {
    countHeld(Held::certificate, previous != nullptr ? -1 : 0);
    const Detail start = findType == CERT_FIND_SUBJECT_STR_W ? Detail::byName : Detail::byUsage;
    const PCCERT_CONTEXT found = watched(
        Call::CertFindCertificateInStore, previous == nullptr ? start : Detail::further,
        [&] {
            return platform::CertFindCertificateInStore(store, encoding, findFlags, findType,
                                                        parameter, previous);
        },
        [&](const Failure&) { platform::CertFreeCertificateContext(previous); });
    return held(Held::certificate, found);
}

PCCERT_CONTEXT CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous) {
    countHeld(Held::certificate, previous != nullptr ? -1 : 0);
    return held(Held::certificate, platform::CertEnumCertificatesInStore(store, previous));
}

PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT certificate) {
    return held(Held::certificate, platform::CertDuplicateCertificateContext(certificate));
}

BOOL CertFreeCertificateContext(PCCERT_CONTEXT certificate) {
    countHeld(Held::certificate, certificate != nullptr ? -1 : 0);
    return platform::CertFreeCertificateContext(certificate);
}

BOOL CertCompareCertificate(DWORD encoding, CERT_INFO* left, CERT_INFO* right) {
    return watched(Call::CertCompareCertificate,
                   [&] { return platform::CertCompareCertificate(encoding, left, right); });
}

BOOL CertGetCertificateChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT certificate, FILETIME* time,
                             HCERTSTORE additionalStore, CERT_CHAIN_PARA* parameters, DWORD flags,
                             void* reserved, PCCERT_CHAIN_CONTEXT* chain) {
    return held(Held::chain, watched(Call::CertGetCertificateChain, [&] {
                    return platform::CertGetCertificateChain(engine, certificate, time,
                                                             additionalStore, parameters, flags,
                                                             reserved, chain);
                }));
}

BOOL CertVerifyCertificateChainPolicy(const char* policy, PCCERT_CHAIN_CONTEXT chain,
                                      CERT_CHAIN_POLICY_PARA* parameters,
                                      CERT_CHAIN_POLICY_STATUS* status) {
    return watched(
        Call::CertVerifyCertificateChainPolicy, Detail::none,
        [&] {
            return platform::CertVerifyCertificateChainPolicy(policy, chain, parameters, status);
        },
        [&](const Failure& failure) {
            status->dwError = failure.verdict;
            status->lChainIndex = failure.chainIndex;
            status->lElementIndex = failure.elementIndex;
        });
}

void CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT chain) {
    countHeld(Held::chain, chain != nullptr ? -1 : 0);
    platform::CertFreeCertificateChain(chain);
}

DWORD CertGetNameStringW(PCCERT_CONTEXT certificate, DWORD type, DWORD flags, void* typeParameter,
                         wchar_t* buffer, DWORD size) {
    return watched(Call::CertGetNameStringW, buffer == nullptr ? Detail::sizing : Detail::filling,
                   [&] {
                       return platform::CertGetNameStringW(certificate, type, flags, typeParameter,
                                                           buffer, size);
                   });
}

PCCERT_CONTEXT CryptUIDlgSelectCertificateFromStore(HCERTSTORE store, HWND parent,
                                                    const wchar_t* title, const wchar_t* display,
                                                    DWORD dontUseColumn, DWORD flags,
                                                    void* reserved) {
    return held(Held::certificate,
                platform::CryptUIDlgSelectCertificateFromStore(store, parent, title, display,
                                                               dontUseColumn, flags, reserved));
}

} // namespace VexaSsl::watched
