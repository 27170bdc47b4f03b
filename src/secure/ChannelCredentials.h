// What one connection needs before its handshake: the open certificate store, the certificate that
// the options choose from it, and the package's credential built on that certificate.
//
// All the work is done by the constructor; nothing is shared or kept between connections. Used by
// the one thread that runs the handshake. Log and options are borrowed and must outlive the object.
#pragma once

#include "certificates/CertificateHandle.h"
#include "certificates/CertificateInspector.h"
#include "certificates/CertificateStore.h"
#include "secure/CredentialHandle.h"

#include <functional>
#include <string>

namespace VexaSsl {

class SecureChannelOptions;

class ChannelCredentials {
public:
    using ChoiceListener = std::function<void(PCCERT_CONTEXT)>;

    // Opens the store, chooses one certificate (or none) and acquires the credential. Throws
    // std::runtime_error when one of these fails, with the reason in the log; no second certificate
    // is tried. A listener is told of the chosen one, null for none, before the credential is
    // acquired: for a tool that shows what a start would use.
    ChannelCredentials(ILog& sink, bool server, const SecureChannelOptions& channelOptions,
                       const ChoiceListener& chosenListener = {});
    ChannelCredentials(const ChannelCredentials&) = delete;
    ChannelCredentials& operator=(const ChannelCredentials&) = delete;

private:
    // Compatibility: field-order
    ILog& log;
    const SecureChannelOptions& options;
    CertificateStore store;
    CertificateInspector inspector;

public:
    CredentialHandle credentialHandle; // never empty on a complete object

private:
    bool isServer;
    CertificateHandleList candidates; // suitable certificates that weren't taken; never used again

    CertificateHandle chooseCertificate();
    CertificateHandle chooseAnySuitable();
    CertificateHandle chooseByName();
    CertificateHandle chooseFromUserInterface();
    void gatherDefaultCertificates();
    CertificateHandleList findDefaultsForServer() const;
    std::wstring getFullyQualifiedComputerName() const;
    void acquireCredentials(PCCERT_CONTEXT certificate);
    [[noreturn]] void refuseCredentials(SECURITY_STATUS status) const;
    std::wstring currentUserName() const;
};

} // namespace VexaSsl
