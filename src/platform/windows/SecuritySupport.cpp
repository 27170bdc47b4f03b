#include "platform/contract/SecuritySupport.h"

namespace VexaSsl::platform {

SECURITY_STATUS EnumerateSecurityPackagesW(ULONG* count, SecPkgInfoW** packages) {
    return ::EnumerateSecurityPackagesW(count, packages);
}

SECURITY_STATUS AcquireCredentialsHandleW(wchar_t* principal, wchar_t* package, ULONG use,
                                          void* logonId, void* authData, SEC_GET_KEY_FN keyFunction,
                                          void* keyArgument, CredHandle* credential,
                                          TimeStamp* expiry) {
    return ::AcquireCredentialsHandleW(principal, package, use, logonId, authData, keyFunction,
                                       keyArgument, credential, expiry);
}

SECURITY_STATUS FreeCredentialsHandle(CredHandle* credential) {
    return ::FreeCredentialsHandle(credential);
}

SECURITY_STATUS InitializeSecurityContextW(CredHandle* credential, CtxtHandle* context,
                                           wchar_t* targetName, ULONG requirements, ULONG reserved1,
                                           ULONG dataRepresentation, SecBufferDesc* input,
                                           ULONG reserved2, CtxtHandle* newContext,
                                           SecBufferDesc* output, ULONG* attributes,
                                           TimeStamp* expiry) {
    return ::InitializeSecurityContextW(credential, context, targetName, requirements, reserved1,
                                        dataRepresentation, input, reserved2, newContext, output,
                                        attributes, expiry);
}

SECURITY_STATUS AcceptSecurityContext(CredHandle* credential, CtxtHandle* context,
                                      SecBufferDesc* input, ULONG requirements,
                                      ULONG dataRepresentation, CtxtHandle* newContext,
                                      SecBufferDesc* output, ULONG* attributes, TimeStamp* expiry) {
    return ::AcceptSecurityContext(credential, context, input, requirements, dataRepresentation,
                                   newContext, output, attributes, expiry);
}

SECURITY_STATUS QueryContextAttributesW(CtxtHandle* context, ULONG attribute, void* buffer) {
    return ::QueryContextAttributesW(context, attribute, buffer);
}

SECURITY_STATUS EncryptMessage(CtxtHandle* context, ULONG qualityOfProtection,
                               SecBufferDesc* message, ULONG sequence) {
    return ::EncryptMessage(context, qualityOfProtection, message, sequence);
}

SECURITY_STATUS DecryptMessage(CtxtHandle* context, SecBufferDesc* message, ULONG sequence,
                               ULONG* qualityOfProtection) {
    return ::DecryptMessage(context, message, sequence, qualityOfProtection);
}

SECURITY_STATUS DeleteSecurityContext(CtxtHandle* context) {
    return ::DeleteSecurityContext(context);
}

SECURITY_STATUS FreeContextBuffer(void* buffer) {
    return ::FreeContextBuffer(buffer);
}

} // namespace VexaSsl::platform
