// What one connection needs before its handshake: the open certificate store, the certificate that
// the options choose from it, and the package's credential built on that certificate.
//
// All the work is done by the constructor; nothing is shared or kept between connections. Used by
// the one thread that runs the handshake. Log and options are borrowed and must outlive the object.
#pragma once

#include "certificates/CertificateHandle.h"
#include "certificates/CertificateSelection.h"
#include "certificates/CertificateStore.h"
#include "secure/CredentialHandle.h"

#include <string>

namespace VexaSsl {

class SecureChannelOptions;

class ChannelCredentials {
public:
    // Opens the store, chooses one certificate (or none) and acquires the credential. Throws
    // std::runtime_error when one of these fails, with the reason in the log; no second certificate
    // is tried. The observer may be null; it is called before the credential is acquired.
    ChannelCredentials(ILog& log, bool isServer, const SecureChannelOptions& options,
                       ISelectionObserver* observer = nullptr);
    ChannelCredentials(const ChannelCredentials&) = delete;
    ChannelCredentials& operator=(const ChannelCredentials&) = delete;

private:
    // Compatibility: field-order
    ILog& log;
    const SecureChannelOptions& options;
    CertificateStore store;

public:
    CredentialHandle credentialHandle; // never empty on a complete object

private:
    bool isServer;
    CertificateSelection selection;

    CertificateHandle chooseCertificate();
    void acquireCredentials(PCCERT_CONTEXT certificate);
    [[noreturn]] void refuseCredentials(SECURITY_STATUS status) const;
    std::wstring currentUserName() const;
};

} // namespace VexaSsl
