// Chooses the certificate that a connection sends, from an open store. Of several suitable ones the
// last in the order of the search is taken, and no other is tried.
//
// Log, store and observer are borrowed and must outlive the object. Belongs to one thread.
#pragma once

#include "certificates/CertificateHandle.h"
#include "certificates/CertificateStore.h"

#include <functional>
#include <string>

namespace VexaSsl {

// Why a certificate that a search found isn't the chosen one.
enum class PassedOver {
    WrongUsage, // not meant for the role
    NotTrusted,
    NotLast, // a suitable one follows it in the order of the search
};

// For a tool that shows what a connection would send. Certificates are borrowed for the call. A
// certificate that no search finds isn't reported.
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
    // after an Error line, when no certificate fits.

    // A client's certificate is meant for client authentication and trusted for it. A server's is
    // meant for server authentication and trusted for it, and names this machine.
    CertificateHandle anySuitable(bool isServer);
    // With the name anywhere in its subject, which can match more certificates than the
    // administrator expects; no line mentions the others.
    CertificateHandle byName(const std::wstring& name);
    // Shows the platform's dialog and waits for the answer.
    CertificateHandle fromUserInterface();

private:
    void gatherDefaultCertificates(bool isServer);
    CertificateHandleList findForThisMachine();
    // Releases the certificates to which the reason applies.
    void passOver(CertificateHandleList& list, PassedOver reason,
                  const std::function<bool(const CertificateHandle&)>& applies);
    CertificateHandle takeLast(CertificateHandleList& fitting);
    void reportPassedOver(const CertificateHandle& certificate, PassedOver reason) const;

    ILog& log;
    const CertificateStore& store;
    ISelectionObserver* observer;     // may be null
    CertificateHandleList candidates; // suitable certificates that weren't taken; never used again
};

// Returns the DNS name of this machine. If the system doesn't know it, returns an empty text
// without a log line; a search for an empty name then finds what the store finds for it.
std::wstring getFullyQualifiedComputerName();

} // namespace VexaSsl
