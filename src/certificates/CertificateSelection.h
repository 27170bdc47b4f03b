// The choice of the certificate that a connection sends, from the open store. Of several that fit
// the last one in the order of the search is taken, and no other is tried.
//
// Log, store and observer are borrowed and must outlive the object. Belongs to one thread.
#pragma once

#include "certificates/CertificateHandle.h"
#include "certificates/CertificateStore.h"

#include <functional>
#include <string>

namespace VexaSsl {

// Why a certificate that a search found isn't the one that is sent.
enum class PassedOver {
    WrongUsage, // not meant for the role
    NotTrusted,
    NotLast, // another one that fits follows it in the order of the search
};

// For a tool that shows what a connection would send. A certificate is borrowed for the call; those
// that no search finds are not reported.
class ISelectionObserver {
public:
    virtual ~ISelectionObserver() = default;
    virtual void chosen(PCCERT_CONTEXT certificate) = 0;
    virtual void passedOver(PCCERT_CONTEXT certificate, PassedOver reason) = 0;
};

class CertificateSelection {
public:
    CertificateSelection(ILog& log, const CertificateStore& store, ISelectionObserver* observer);
    CertificateSelection(const CertificateSelection&) = delete;
    CertificateSelection& operator=(const CertificateSelection&) = delete;

    // Each returns the chosen certificate, never an empty handle. Each throws std::runtime_error,
    // after an Error line, when none fits.

    // A client's certificate is meant for client authentication and trusted for it. A server's is
    // meant for server authentication and trusted for it, and names this machine.
    CertificateHandle anySuitable(bool isServer);
    // With the name anywhere in the subject. That can be more than an administrator had in mind;
    // no line says that there were others.
    CertificateHandle byName(const std::wstring& name);
    // The one that the user selects; waits for the answer.
    CertificateHandle fromUserInterface();

private:
    CertificateHandleList findSuitable(bool isServer);
    CertificateHandleList findForThisMachine();
    // Releases those that the reason applies to.
    void passOver(CertificateHandleList& list, PassedOver reason,
                  const std::function<bool(const CertificateHandle&)>& applies);
    CertificateHandle takeLast(CertificateHandleList& fitting);
    void reportPassedOver(const CertificateHandle& certificate, PassedOver reason) const;

    ILog& log;
    const CertificateStore& store;
    ISelectionObserver* observer;     // may be null
    CertificateHandleList candidates; // suitable certificates that weren't taken; never used again
};

// The DNS name of this machine. Empty, without a log line, when the system doesn't know it; a
// search for it then finds what the store finds for an empty name.
std::wstring fullyQualifiedComputerName();

} // namespace VexaSsl
