// The watched calls of the security package.
#include "faults/WatchedCall.h"

#include "platform/contract/SecuritySupport.h"

namespace VexaSsl::watched {

namespace {

bool isEmpty(const SecHandle* handle) {
    return handle == nullptr || (handle->dwLower == 0 && handle->dwUpper == 0);
}

bool returnsToken(const SecBufferDesc* output) {
    return output != nullptr && output->cBuffers > 0 && output->pBuffers[0].pvBuffer != nullptr;
}

// A handshake call of either role: the first creates the context, each may create a token.
template <typename Real>
SECURITY_STATUS handshakeStep(Call call, const CtxtHandle* context, const CtxtHandle* created,
                              const SecBufferDesc* output, Real real) {
    const bool isFirst = isEmpty(context);
    const bool wasEmpty = isEmpty(created);
    const SECURITY_STATUS status = watched(call, isFirst ? Detail::first : Detail::further, real);
    countHeld(Held::context, wasEmpty && !isEmpty(created) ? 1 : 0);
    countHeld(Held::packageMemory, returnsToken(output) ? 1 : 0);
    return status;
}

} // namespace

SECURITY_STATUS EnumerateSecurityPackagesW(ULONG* count, SecPkgInfoW** packages) {
    const SECURITY_STATUS status = watched(Call::EnumerateSecurityPackagesW, [&] {
        return platform::EnumerateSecurityPackagesW(count, packages);
    });
    countHeld(Held::packageMemory, status == SEC_E_OK ? 1 : 0);
    return status;
}

SECURITY_STATUS AcquireCredentialsHandleW(wchar_t* principal, wchar_t* package, ULONG use,
                                          void* logonId, void* authData, SEC_GET_KEY_FN keyFunction,
                                          void* keyArgument, CredHandle* credential,
                                          TimeStamp* expiry) {
    const SECURITY_STATUS status = watched(Call::AcquireCredentialsHandleW, [&] {
        return platform::AcquireCredentialsHandleW(principal, package, use, logonId, authData,
                                                   keyFunction, keyArgument, credential, expiry);
    });
    countHeld(Held::credential, status == SEC_E_OK ? 1 : 0);
    return status;
}

SECURITY_STATUS FreeCredentialsHandle(CredHandle* credential) {
    countHeld(Held::credential, -1);
    return platform::FreeCredentialsHandle(credential);
}

SECURITY_STATUS InitializeSecurityContextW(CredHandle* credential, CtxtHandle* context,
                                           wchar_t* targetName, ULONG requirements, ULONG reserved1,
                                           ULONG dataRepresentation, SecBufferDesc* input,
                                           ULONG reserved2, CtxtHandle* newContext,
                                           SecBufferDesc* output, ULONG* attributes,
                                           TimeStamp* expiry) {
    return handshakeStep(Call::InitializeSecurityContextW, context, newContext, output, [&] {
        return platform::InitializeSecurityContextW(credential, context, targetName, requirements,
                                                    reserved1, dataRepresentation, input, reserved2,
                                                    newContext, output, attributes, expiry);
    });
}

SECURITY_STATUS AcceptSecurityContext(CredHandle* credential, CtxtHandle* context,
                                      SecBufferDesc* input, ULONG requirements,
                                      ULONG dataRepresentation, CtxtHandle* newContext,
                                      SecBufferDesc* output, ULONG* attributes, TimeStamp* expiry) {
    return handshakeStep(Call::AcceptSecurityContext, context, newContext, output, [&] {
        return platform::AcceptSecurityContext(credential, context, input, requirements,
                                               dataRepresentation, newContext, output, attributes,
                                               expiry);
    });
}

SECURITY_STATUS QueryContextAttributesW(CtxtHandle* context, ULONG attribute, void* buffer) {
    const bool ofPeer = attribute == SECPKG_ATTR_REMOTE_CERT_CONTEXT;
    const SECURITY_STATUS status =
        watched(Call::QueryContextAttributesW, ofPeer ? Detail::peer : Detail::sizes,
                [&] { return platform::QueryContextAttributesW(context, attribute, buffer); });
    countHeld(Held::certificate,
              ofPeer && *static_cast<PCCERT_CONTEXT*>(buffer) != nullptr ? 1 : 0);
    return status;
}

SECURITY_STATUS EncryptMessage(CtxtHandle* context, ULONG qualityOfProtection,
                               SecBufferDesc* message, ULONG sequence) {
    return watched(Call::EncryptMessage, [&] {
        return platform::EncryptMessage(context, qualityOfProtection, message, sequence);
    });
}

SECURITY_STATUS DecryptMessage(CtxtHandle* context, SecBufferDesc* message, ULONG sequence,
                               ULONG* qualityOfProtection) {
    return watched(Call::DecryptMessage, [&] {
        return platform::DecryptMessage(context, message, sequence, qualityOfProtection);
    });
}

SECURITY_STATUS DeleteSecurityContext(CtxtHandle* context) {
    countHeld(Held::context, -1);
    return platform::DeleteSecurityContext(context);
}

SECURITY_STATUS FreeContextBuffer(void* buffer) {
    countHeld(Held::packageMemory, buffer != nullptr ? -1 : 0);
    return platform::FreeContextBuffer(buffer);
}

} // namespace VexaSsl::watched
