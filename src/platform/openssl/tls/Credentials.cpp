#include "platform/openssl/tls/Credentials.h"

#include "platform/contract/SecuritySupport.h"
#include "platform/openssl/stores/CertificateObject.h"
#include "platform/openssl/stores/OpenSslFailure.h"
#include "platform/openssl/tls/PackageCall.h"
#include "platform/openssl/tls/SecurityHandles.h"

#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace VexaSsl {
namespace {

using namespace openssl;

constexpr std::wstring_view packageName = L"Microsoft Unified Security Protocol Provider";
constexpr std::wstring_view shortPackageName = L"Schannel";

struct AuthData {
    PCCERT_CONTEXT certificate = nullptr; // this side's, or null
    bool validatesServer = true;
};

// Returns nothing for an unsupported authData.
std::optional<AuthData> readAuthData(const void* authData) {
    const auto* schannelCred = static_cast<const SCHANNEL_CRED*>(authData);
    if (!schannelCred) {
        return AuthData{};
    }
    if (schannelCred->dwVersion != SCHANNEL_CRED_VERSION || schannelCred->cCreds > 1) {
        return std::nullopt;
    }
    const bool validatesServer = (schannelCred->dwFlags & SCH_CRED_MANUAL_CRED_VALIDATION) == 0;
    if (schannelCred->cCreds == 0) {
        return AuthData{nullptr, validatesServer};
    }
    if (!schannelCred->paCred || !*schannelCred->paCred) {
        return std::nullopt;
    }
    return AuthData{*schannelCred->paCred, validatesServer};
}

SECURITY_STATUS keyStatus(Role role, PCCERT_CONTEXT certificate) {
    if (!certificate) {
        return role == Role::server ? SEC_E_NO_CREDENTIALS : SEC_E_OK;
    }
    switch (keyStateOf(certificate)) {
    case KeyState::present:
        return SEC_E_OK;
    case KeyState::unreadable:
        return SEC_E_UNKNOWN_CREDENTIALS;
    case KeyState::absent:
        break;
    }
    return SEC_E_NO_CREDENTIALS;
}

SECURITY_STATUS acquire(Role role, const void* authData, CredHandle& credential) {
    const std::optional<AuthData> request = readAuthData(authData);
    if (!request) {
        return SEC_E_UNSUPPORTED_FUNCTION;
    }
    const PCCERT_CONTEXT certificate = request->certificate;
    if (const SECURITY_STATUS status = keyStatus(role, certificate); status != SEC_E_OK) {
        return status;
    }
    SslContextPointer settings;
    if (const SECURITY_STATUS status = findSslContext(role, certificate, settings);
        status != SEC_E_OK) {
        return status;
    }
    credential = addHandle(
        std::make_shared<Credentials>(Credentials{.role = role,
                                                  .hasCertificate = certificate != nullptr,
                                                  .validatesServer = request->validatesServer,
                                                  .settings = std::move(settings)}));
    return SEC_E_OK;
}

} // namespace

// Principal, logon and key function select an account on Windows; they are ignored here.
SECURITY_STATUS platform::AcquireCredentialsHandleW(wchar_t*, wchar_t* package, ULONG use, void*,
                                                    void* authData, SEC_GET_KEY_FN, void*,
                                                    CredHandle* credential, TimeStamp* expiry) {
    return packageCall([&]() -> SECURITY_STATUS {
        if (!credential) {
            return SEC_E_INVALID_HANDLE;
        }
        *credential = {};
        clearFailure();
        if (!package || (package != packageName && package != shortPackageName)) {
            return SEC_E_SECPKG_NOT_FOUND;
        }
        if (use != SECPKG_CRED_INBOUND && use != SECPKG_CRED_OUTBOUND) {
            return SEC_E_UNSUPPORTED_FUNCTION;
        }
        if (expiry) {
            *expiry = std::numeric_limits<TimeStamp>::max();
        }
        const Role role = use == SECPKG_CRED_INBOUND ? Role::server : Role::client;
        return acquire(role, authData, *credential);
    });
}

SECURITY_STATUS platform::FreeCredentialsHandle(CredHandle* credential) {
    return packageCall([&] { return removeHandle<Credentials>(credential); });
}

} // namespace VexaSsl
