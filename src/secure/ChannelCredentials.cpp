#include "secure/ChannelCredentials.h"

#include "config/SecureChannelOptions.h"
#include "frame/ConnectionError.h"
#include "frame/ErrorText.h"
#include "platform/contract/WindowsBase.h"
#include "secure/LogTexts.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace VexaSsl {

namespace {

constexpr std::size_t userNameCapacity = 257; // the longest user name and its terminator

} // namespace

ChannelCredentials::ChannelCredentials(ILog& log, bool isServer,
                                       const SecureChannelOptions& options,
                                       ISelectionObserver* observer)
    : log(log), options(options), store(log), isServer(isServer), selection(log, store, observer) {
    const CertificateHandle chosen = chooseCertificate();
    if (chosen) {
        // The second reference goes at once: the first one outlives the call below.
        const CertificateHandle second(platform::CertDuplicateCertificateContext(chosen.get()));
    }
    acquireCredentials(chosen.get());
}

// Empty when none is to be sent.
CertificateHandle ChannelCredentials::chooseCertificate() {
    switch (options.certificateChoice(isServer)) {
    case CertificateChoice::FromUserInterface:
        return selection.fromUserInterface();
    case CertificateChoice::AnySuitable:
        return selection.anySuitable(isServer);
    case CertificateChoice::ByName:
        return selection.byName(isServer ? options.serverCertificateName
                                         : options.clientCertificateName);
    case CertificateChoice::NoCertificate:
        break;
    }
    return {};
}

void ChannelCredentials::acquireCredentials(PCCERT_CONTEXT certificate) {
    const SECURITY_STATUS status = acquireCredential(certificate, isServer, credentialHandle);
    if (status != SEC_E_OK) {
        refuseCredentials(status);
    }
    log.log(Severity::Debug, L"AcquireCredentialsHandle succeeded");
}

void ChannelCredentials::refuseCredentials(SECURITY_STATUS status) const {
    const bool unknown = status == SEC_E_UNKNOWN_CREDENTIALS;
    const std::wstring user = unknown ? currentUserName() : std::wstring();
    logSystemError(log, LogTexts::acquireCredentials, static_cast<DWORD>(status));
    if (unknown) {
        log.log(Severity::Info, LogTexts::unreadableKeyPrefix + user +
                                    L"] requires read access to the certificate private key.");
    }
    // Compatibility: misspelt-texts
    throw ConnectionError(status == SEC_E_INSUFFICIENT_MEMORY ? FailureCause::Memory
                                                              : FailureCause::OwnCertificate,
                          "aquire credentials failed", status);
}

// Empty, with an Error line, when the system doesn't tell.
std::wstring ChannelCredentials::currentUserName() const {
    std::array<wchar_t, userNameCapacity> buffer{};
    DWORD size = userNameCapacity;
    if (!platform::GetUserNameW(buffer.data(), &size)) {
        logSystemError(log, L"GetUserName", platform::GetLastError());
        return {};
    }
    return {buffer.begin(), std::find(buffer.begin(), buffer.end(), L'\0')};
}

} // namespace VexaSsl
