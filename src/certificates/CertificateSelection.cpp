#include "certificates/CertificateSelection.h"

#include "certificates/LogTexts.h"
#include "frame/ConnectionError.h"
#include "platform/contract/CryptoApi.h"
#include "platform/contract/WindowsBase.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace VexaSsl {

namespace {

constexpr DWORD anyEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
static_assert(anyEncoding == 0x10001);

// Whether one of the list has the same issuer and serial number.
bool isAmong(const CertificateHandleList& list, const CertificateHandle& wanted) {
    return std::any_of(list.begin(), list.end(), [&](const CertificateHandle& entry) {
        return platform::CertCompareCertificate(anyEncoding, wanted.get()->pCertInfo,
                                                entry.get()->pCertInfo) != FALSE;
    });
}

} // namespace

CertificateSelection::CertificateSelection(ILog& log, const CertificateStore& store,
                                           ISelectionObserver* observer)
    : log(log), store(store), observer(observer) {}

CertificateHandle CertificateSelection::anySuitable(bool isServer) {
    gatherDefaultCertificates(isServer);
    if (candidates.empty()) {
        log.log(Severity::Error, LogTexts::noSuitableCertificate);
        throw ConnectionError(FailureCause::OwnCertificate, "no default certificate");
    }
    CertificateHandle chosen = takeLast(candidates);
    log.log(Severity::Info, L"Found a certificate to try");
    store.inspector.reportAllNames(chosen.get());
    return chosen;
}

CertificateHandle CertificateSelection::byName(const std::wstring& name) {
    CertificateHandleList found = store.findByName(name);
    if (found.empty()) {
        log.log(Severity::Error, LogTexts::noCertificateWithNamePrefix + name + L"]");
        throw ConnectionError(FailureCause::OwnCertificate, "no available certificate");
    }
    return takeLast(found);
}

CertificateHandle CertificateSelection::fromUserInterface() {
    CertificateHandle chosen = store.selectCertificateFromUI();
    if (!chosen) {
        log.log(Severity::Error, LogTexts::noCertificateSelected);
        throw ConnectionError(FailureCause::OwnCertificate, "no selected certificate");
    }
    if (observer != nullptr) {
        observer->chosen(chosen.get());
    }
    return chosen;
}

void CertificateSelection::gatherDefaultCertificates(bool isServer) {
    candidates = isServer ? findForThisMachine() : store.findByEnhancedKeyUsage(false);
    passOver(candidates, PassedOver::NotTrusted, [&](const CertificateHandle& entry) {
        return !store.inspector.verifyCertificateChain(entry.get(), isServer);
    });
}

CertificateHandleList CertificateSelection::findForThisMachine() {
    CertificateHandleList named = store.findByName(getFullyQualifiedComputerName());
    const CertificateHandleList meantForServers = store.findByEnhancedKeyUsage(true);
    passOver(named, PassedOver::WrongUsage,
             [&](const CertificateHandle& entry) { return !isAmong(meantForServers, entry); });
    return named;
}

void CertificateSelection::passOver(CertificateHandleList& list, PassedOver reason,
                                    const std::function<bool(const CertificateHandle&)>& applies) {
    std::erase_if(list, [&](const CertificateHandle& entry) {
        const bool isPassedOver = applies(entry);
        if (isPassedOver) {
            reportPassedOver(entry, reason);
        }
        return isPassedOver;
    });
}

// Leaves the others in the list.
CertificateHandle CertificateSelection::takeLast(CertificateHandleList& fitting) {
    CertificateHandle last = std::move(fitting.back());
    fitting.pop_back();
    for (const CertificateHandle& other : fitting) {
        reportPassedOver(other, PassedOver::NotLast);
    }
    if (observer != nullptr) {
        observer->chosen(last.get());
    }
    return last;
}

void CertificateSelection::reportPassedOver(const CertificateHandle& certificate,
                                            PassedOver reason) const {
    if (observer != nullptr) {
        observer->passedOver(certificate.get(), reason);
    }
}

std::wstring getFullyQualifiedComputerName() {
    DWORD size = 0;
    if (platform::GetComputerNameExW(ComputerNameDnsFullyQualified, nullptr, &size)) {
        return {};
    }
    std::wstring name(size, L'\0');
    if (!platform::GetComputerNameExW(ComputerNameDnsFullyQualified, name.data(), &size)) {
        return {};
    }
    name.resize(size); // on success without the terminator
    return name;
}

} // namespace VexaSsl
