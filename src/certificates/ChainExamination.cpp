#include "certificates/ChainExamination.h"

#include "certificates/CertificateInspector.h"
#include "certificates/KeyPurpose.h"
#include "frame/ErrorText.h"
#include "platform/contract/WindowsBase.h"
#include <string>

namespace VexaSsl {

namespace {

// The null chain engine is the default one. A null time is now, a null store adds no certificates.
// Flags 0: no revocation check.
BOOL buildChain(PCCERT_CONTEXT certificate, bool forServer, FILETIME* time, HCERTSTORE helpers,
                PCCERT_CHAIN_CONTEXT* chain) {
    KeyPurpose purpose(forServer);
    // cbSize stays 0. A platform that reads it may ignore the requested usage.
    // Compatibility: chain-parameters-size
    CERT_CHAIN_PARA parameters{};
    parameters.RequestedUsage.dwType = USAGE_MATCH_TYPE_AND;
    parameters.RequestedUsage.Usage = purpose.usage();
    return platform::CertGetCertificateChain(nullptr, certificate, time, helpers, &parameters, 0,
                                             nullptr, chain);
}

// No extra parameters: the policy doesn't know a server's name or the role.
BOOL judgeChain(PCCERT_CHAIN_CONTEXT chain, CERT_CHAIN_POLICY_STATUS& status) {
    CERT_CHAIN_POLICY_PARA parameters{};
    static_assert(sizeof parameters == 16 && sizeof status == 24, "the sizes the platform expects");
    parameters.cbSize = sizeof parameters;
    status.cbSize = sizeof status;
    return platform::CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, chain, &parameters,
                                                      &status);
}

std::wstring numberAndText(DWORD error) {
    return std::to_wstring(error) + L" (" + systemErrorText(error) + L")";
}

// Returns null when the indexes are outside the chain.
PCCERT_CONTEXT certificateAt(PCCERT_CHAIN_CONTEXT chain, LONG chainIndex, LONG elementIndex) {
    if (chain == nullptr || chainIndex < 0 || static_cast<DWORD>(chainIndex) >= chain->cChain) {
        return nullptr;
    }
    const CERT_SIMPLE_CHAIN& simple = *chain->rgpChain[chainIndex];
    if (elementIndex < 0 || static_cast<DWORD>(elementIndex) >= simple.cElement) {
        return nullptr;
    }
    return simple.rgpElement[elementIndex]->pCertContext;
}

} // namespace

ChainExamination::ChainExamination(ILog& log, PCCERT_CONTEXT certificate, bool forServer,
                                   FILETIME* time, HCERTSTORE helpers)
    : log(log) {
    if (!buildChain(certificate, forServer, time, helpers, &owner.chain)) {
        // The code is always 0 and the policy then judges a null chain.
        // Compatibility: chain-failure-code-zero
        logSystemError(log, L"CertGetCertificateChain", 0);
    }
    judged = judgeChain(owner.chain, verdict) != FALSE;
    const std::wstring purpose = forServer ? L"server authentication" : L"client authentication";
    if (!judged) {
        reportCheckThatDidNotRun();
    } else if (verdict.dwError == 0) {
        log.log(Severity::Debug, L"The certificate chain is trusted for " + purpose);
    } else {
        reportFault(purpose);
    }
}

// The number shown is that of the status structure; the last error is read and dropped.
// Compatibility: status-as-last-error
void ChainExamination::reportCheckThatDidNotRun() const {
    static_cast<void>(platform::GetLastError());
    log.log(Severity::Warning,
            L"CertVerifyCertificateChainPolicy was unable to check the certificate chain");
    log.log(Severity::Info, L"GetLastError returned: " + numberAndText(verdict.dwError) +
                                L", which is not documented to be useful, but not documented to "
                                L"not be useful");
}

void ChainExamination::reportFault(const std::wstring& purpose) const {
    log.log(Severity::Warning,
            L"CertVerifyCertificateChainPolicy returned status: " + numberAndText(verdict.dwError));
    log.log(Severity::Info, L"The certificate chain is not trusted for " + purpose);
    log.log(Severity::Info,
            L"The following information is not complete, but provided as a starting point. Please "
            L"inspect the certificate chain through the Microsoft Management Console");
    reportPlaceOfFault();
}

// An index of -1 means that the fault has no such place. "begining" stays as it is.
// Compatibility: misspelt-texts
void ChainExamination::reportPlaceOfFault() const {
    if (verdict.lChainIndex == -1 && verdict.lElementIndex == -1) {
        log.log(Severity::Info, L"This error applies to the entire certificate chain");
        return;
    }
    const bool wholeSimpleChain = verdict.lElementIndex == -1;
    const PCCERT_CONTEXT certificate = certificateAt(owner.chain, verdict.lChainIndex,
                                                     wholeSimpleChain ? 0 : verdict.lElementIndex);
    const std::wstring name = certificate != nullptr
                                  ? CertificateInspector(log).getFriendlyName(certificate)
                                  : std::wstring();
    log.log(Severity::Info,
            (wholeSimpleChain
                 ? L"This error applies to the complete simple chain begining at the certificate "
                   L"with the friendly name ["
                 : L"This error applies to the certificate with the friendly name [") +
                name + L"]");
}

} // namespace VexaSsl
