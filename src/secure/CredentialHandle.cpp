#include "secure/CredentialHandle.h"

namespace VexaSsl {

// Without a certificate the field still leads to an array, of one null; the count is what matters.
// Versions, cipher strengths and checks are left to the platform's defaults, which no option of
// this library changes.
SECURITY_STATUS acquireCredential(PCCERT_CONTEXT certificate, bool isServer,
                                  CredentialHandle& acquired) {
    PCCERT_CONTEXT certificates[1] = {certificate};
    SCHANNEL_CRED description{};
    description.dwVersion = SCHANNEL_CRED_VERSION;
    description.cCreds = certificate != nullptr ? 1 : 0;
    description.paCred = certificates;
    wchar_t package[] = L"Microsoft Unified Security Protocol Provider";
    CredHandle handle{};
    TimeStamp expiry{};
    const SECURITY_STATUS status = platform::AcquireCredentialsHandleW(
        nullptr, package, isServer ? SECPKG_CRED_INBOUND : SECPKG_CRED_OUTBOUND, nullptr,
        &description, nullptr, nullptr, &handle, &expiry);
    if (status == SEC_E_OK) {
        acquired = CredentialHandle(handle);
    }
    return status;
}

} // namespace VexaSsl
