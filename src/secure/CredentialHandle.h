// The owner of one credential of the security package. The package may use the credential for
// several contexts at once; its owner belongs to one thread.
#pragma once

#include "frame/OwnedHandle.h"
#include "platform/contract/SecuritySupport.h"

namespace VexaSsl {

inline void freeCredentials(CredHandle& handle) noexcept {
    platform::FreeCredentialsHandle(&handle);
}

using CredentialHandle = OwnedHandle<CredHandle, freeCredentials>;

// Acquires the credential of a server (else client) on a certificate, null for none. Returns the
// package's status; acquired is set only with SEC_E_OK.
SECURITY_STATUS acquireCredential(PCCERT_CONTEXT certificate, bool isServer,
                                  CredentialHandle& acquired);

} // namespace VexaSsl
