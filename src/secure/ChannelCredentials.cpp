#include "secure/ChannelCredentials.h"

#include "config/SecureChannelOptions.h"
#include "frame/ErrorText.h"
#include "platform/contract/WindowsBase.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace VexaSsl {

namespace {

constexpr DWORD anyEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
static_assert(anyEncoding == 0x10001);

constexpr std::size_t userNameCapacity = 257; // the longest user name and its terminator

// One of the list has the same issuer and serial number.
bool isAmong(const CertificateHandleList& list, const CertificateHandle& wanted) {
    return std::any_of(list.begin(), list.end(), [&](const CertificateHandle& entry) {
        return platform::CertCompareCertificate(anyEncoding, wanted.get()->pCertInfo,
                                                entry.get()->pCertInfo) != FALSE;
    });
}

// Without a certificate the field still leads to an array, of one null; the count is what matters.
// Versions, cipher strengths and checks are left to the platform's defaults, which no option of
// this library changes.
SECURITY_STATUS acquireHandle(PCCERT_CONTEXT certificate, bool isServer, CredHandle& handle) {
    PCCERT_CONTEXT certificates[1] = {certificate};
    SCHANNEL_CRED description{};
    description.dwVersion = SCHANNEL_CRED_VERSION;
    description.cCreds = certificate != nullptr ? 1 : 0;
    description.paCred = certificates;
    wchar_t package[] = L"Microsoft Unified Security Protocol Provider";
    TimeStamp expiry{};
    return platform::AcquireCredentialsHandleW(
        nullptr, package, isServer ? SECPKG_CRED_INBOUND : SECPKG_CRED_OUTBOUND, nullptr,
        &description, nullptr, nullptr, &handle, &expiry);
}

} // namespace

ChannelCredentials::ChannelCredentials(ILog& sink, bool server,
                                       const SecureChannelOptions& channelOptions,
                                       const ChoiceListener& chosenListener)
    : log(sink), options(channelOptions), store(sink), inspector(sink), isServer(server) {
    const CertificateHandle chosen = chooseCertificate();
    if (chosen) {
        // The second reference goes at once: the first one outlives the call below.
        const CertificateHandle second(platform::CertDuplicateCertificateContext(chosen.get()));
    }
    if (chosenListener) {
        chosenListener(chosen.get());
    }
    acquireCredentials(chosen.get());
}

CertificateHandle ChannelCredentials::chooseCertificate() {
    switch (options.certificateChoice(isServer)) {
    case CertificateChoice::FromUserInterface:
        return chooseFromUserInterface();
    case CertificateChoice::AnySuitable:
        return chooseAnySuitable();
    case CertificateChoice::ByName:
        return chooseByName();
    case CertificateChoice::NoCertificate:
        break;
    }
    return {};
}

// Of several suitable certificates the last in the store's order is taken, and only that one is
// tried: when it fails later on, so does the connection.
CertificateHandle ChannelCredentials::chooseAnySuitable() {
    gatherDefaultCertificates();
    if (candidates.empty()) {
        log.log(Severity::Error, L"Tried to find a default certificate, but none were suitable");
        throw std::runtime_error("no default certificate");
    }
    CertificateHandle chosen = std::move(candidates.back());
    candidates.pop_back();
    log.log(Severity::Info, L"Found a certificate to try");
    inspector.reportAllNames(chosen.get());
    return chosen;
}

// The name is searched for anywhere in the subject, so it can find more than an administrator had
// in mind; the last one found is used, and no line says that there were others.
CertificateHandle ChannelCredentials::chooseByName() {
    const std::wstring& name =
        isServer ? options.serverCertificateName : options.clientCertificateName;
    CertificateHandleList found = store.findByName(name);
    if (found.empty()) {
        log.log(Severity::Error,
                L"Was not able to find a certificate with the name [" + name + L"]");
        throw std::runtime_error("no available certificate");
    }
    return std::move(found.back());
}

CertificateHandle ChannelCredentials::chooseFromUserInterface() {
    CertificateHandle chosen(platform::CryptUIDlgSelectCertificateFromStore(
        store.handle, nullptr, nullptr, nullptr, 0, 0, nullptr));
    if (chosen) {
        store.inspector.reportAllNames(chosen.get());
        return chosen;
    }
    log.log(Severity::Warning,
            L"CryptUIDlgSelectCertificateFromStore returned with no selected certificate");
    log.log(Severity::Error, L"User didn't select a certificate");
    throw std::runtime_error("no selected certificate");
}

// Suitable on a client: meant for client authentication and trusted for it. On a server also made
// out to this machine.
void ChannelCredentials::gatherDefaultCertificates() {
    CertificateHandleList found =
        isServer ? findDefaultsForServer() : store.findByEnhancedKeyUsage(false);
    std::erase_if(found, [this](const CertificateHandle& entry) {
        return !inspector.verifyCertificateChain(entry.get(), isServer);
    });
    candidates.insert(candidates.begin(), std::make_move_iterator(found.begin()),
                      std::make_move_iterator(found.end()));
}

CertificateHandleList ChannelCredentials::findDefaultsForServer() const {
    CertificateHandleList named = store.findByName(getFullyQualifiedComputerName());
    const CertificateHandleList meantForServers = store.findByEnhancedKeyUsage(true);
    std::erase_if(named,
                  [&](const CertificateHandle& entry) { return !isAmong(meantForServers, entry); });
    return named;
}

// Empty when the machine doesn't tell; nothing is reported then, and the search for an empty name
// shows what the store makes of it.
std::wstring ChannelCredentials::getFullyQualifiedComputerName() const {
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

void ChannelCredentials::acquireCredentials(PCCERT_CONTEXT certificate) {
    CredHandle handle{};
    const SECURITY_STATUS status = acquireHandle(certificate, isServer, handle);
    if (status != SEC_E_OK) {
        refuseCredentials(status);
    }
    credentialHandle = CredentialHandle(handle);
    log.log(Severity::Debug, L"AcquireCredentialsHandle succeeded");
}

void ChannelCredentials::refuseCredentials(SECURITY_STATUS status) const {
    const bool unknown = status == SEC_E_UNKNOWN_CREDENTIALS;
    const std::wstring user = unknown ? currentUserName() : std::wstring();
    logSystemError(log, L"AcquireCredentialsHandle", static_cast<DWORD>(status));
    if (unknown) {
        log.log(Severity::Info,
                L"AcquireCredentialsHandle failed with [SEC_E_UNKNOWN_CREDENTIALS]. Probable "
                L"cause: user [" +
                    user + L"] requires read access to the certificate private key.");
    }
    // Compatibility: misspelt-texts
    throw std::runtime_error("aquire credentials failed");
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
