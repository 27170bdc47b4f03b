// Contract: the security package (SSPI with Schannel). Names, arguments, statuses and buffer types
// are those of the Windows functions.
//
// Threads: calls on different contexts are independent. On one context, one EncryptMessage and one
// DecryptMessage may run at the same time; no other calls may overlap. Credentials may be shared.
#pragma once

#include "SecurityShapes.h" // IWYU pragma: export

namespace VexaSsl::platform {

// Returns the installed packages in *packages, which is released with FreeContextBuffer. One is
// named "Schannel".
SECURITY_STATUS EnumerateSecurityPackagesW(ULONG* count, SecPkgInfoW** packages);

// package is "Microsoft Unified Security Protocol Provider", authData a SCHANNEL_CRED with at most
// one certificate, use SECPKG_CRED_INBOUND or SECPKG_CRED_OUTBOUND. With the flag
// SCH_CRED_MANUAL_CRED_VALIDATION a client's handshake doesn't validate the server's certificate; a
// tool sets it to obtain a chain that is refused, never for a connection that carries data.
//   SEC_E_OK
//   SEC_E_UNKNOWN_CREDENTIALS   the certificate's private key can't be read or used
//   SEC_E_NO_CREDENTIALS        the certificate has no private key, or inbound use without a
//                               certificate
//   SEC_E_ALGORITHM_MISMATCH    the certificate is too weak
//   SEC_E_SECPKG_NOT_FOUND, SEC_E_UNSUPPORTED_FUNCTION, SEC_E_INSUFFICIENT_MEMORY,
//   SEC_E_INTERNAL_ERROR
SECURITY_STATUS AcquireCredentialsHandleW(wchar_t* principal, wchar_t* package, ULONG use,
                                          void* logonId, void* authData, SEC_GET_KEY_FN keyFunction,
                                          void* keyArgument, CredHandle* credential,
                                          TimeStamp* expiry);
SECURITY_STATUS FreeCredentialsHandle(CredHandle* credential);

// Runs one step of a client's handshake. A null context, or a zero handle, starts a handshake, and
// newContext receives the context. input: null at the start, then TOKEN (the bytes received) and
// EMPTY. output: TOKEN and ALERT; with ISC_REQ_ALLOCATE_MEMORY the package allocates the token,
// which is released with FreeContextBuffer.
//   SEC_I_CONTINUE_NEEDED       send the token, which may be empty; then more input is needed. A
//                               binding that has consumed whole records before a partial one
//                               returns the partial one as SECBUFFER_EXTRA, as Windows does, and
//                               the core drops it
//   SEC_E_INCOMPLETE_MESSAGE    the last record is partial: an input buffer becomes
//                               SECBUFFER_MISSING with the exact number of bytes; nothing is
//                               consumed and there is no token. A binding that returns this
//                               whenever the last record is partial loses no bytes
//   SEC_E_OK                    established; the token, which may be empty, must still be sent;
//                               SECBUFFER_EXTRA in the input for the bytes that follow the last
//                               handshake record
//   SEC_I_INCOMPLETE_CREDENTIALS  the server requests a certificate and none was supplied (only
//                               without ISC_REQ_USE_SUPPLIED_CREDS)
//   SEC_E_WRONG_PRINCIPAL, SEC_E_UNTRUSTED_ROOT, SEC_E_CERT_EXPIRED, SEC_E_CERT_WRONG_USAGE,
//   SEC_E_CERT_UNKNOWN          the server's certificate is refused
//   SEC_E_ILLEGAL_MESSAGE, SEC_E_DECRYPT_FAILURE, SEC_E_MESSAGE_ALTERED, SEC_E_ALGORITHM_MISMATCH,
//   SEC_E_UNSUPPORTED_FUNCTION, SEC_E_INVALID_TOKEN, SEC_E_INVALID_HANDLE, SEC_E_NO_CREDENTIALS,
//   SEC_E_LOGON_DENIED, SEC_E_CONTEXT_EXPIRED, SEC_E_INSUFFICIENT_MEMORY, SEC_E_INTERNAL_ERROR
//                               other failures, among them the peer's alerts
// A failure returns no token. A context that has been created must still be deleted by the caller.
SECURITY_STATUS InitializeSecurityContextW(CredHandle* credential, CtxtHandle* context,
                                           wchar_t* targetName, ULONG requirements, ULONG reserved1,
                                           ULONG dataRepresentation, SecBufferDesc* input,
                                           ULONG reserved2, CtxtHandle* newContext,
                                           SecBufferDesc* output, ULONG* attributes,
                                           TimeStamp* expiry);

// Runs one step of a server's handshake; input is never null. Returns the statuses of
// InitializeSecurityContextW. With ASC_REQ_MUTUAL_AUTH the client is asked for a certificate; it
// may send any or none, and it is not validated here.
SECURITY_STATUS AcceptSecurityContext(CredHandle* credential, CtxtHandle* context,
                                      SecBufferDesc* input, ULONG requirements,
                                      ULONG dataRepresentation, CtxtHandle* newContext,
                                      SecBufferDesc* output, ULONG* attributes, TimeStamp* expiry);

// Writes an attribute of the context to buffer.
//   SECPKG_ATTR_STREAM_SIZES         a SecPkgContext_StreamSizes
//   SECPKG_ATTR_REMOTE_CERT_CONTEXT  a PCCERT_CONTEXT that the caller frees, its store holding the
//                                    chain as sent; SEC_E_NO_CREDENTIALS when the peer sent none. A
//                                    binding may support it from the moment the certificate has
//                                    arrived, even if the handshake then fails
//   SECPKG_ATTR_LOCAL_CERT_CONTEXT   of an established context, this side's certificate as a
//                                    PCCERT_CONTEXT that the caller frees; SEC_E_NO_CREDENTIALS
//                                    when the credential has none. A system may not support it
//   SECPKG_ATTR_CONNECTION_INFO      of an established context, a SecPkgContext_ConnectionInfo with
//                                    the protocol version, one of the SP_PROT_..._SERVER and
//                                    SP_PROT_..._CLIENT bits. A binding need not fill the other
//                                    fields, and the bit may be that of the other side
//   SECPKG_ATTR_CIPHER_INFO          of an established context, a SecPkgContext_CipherInfo with the
//                                    protocol version as on the wire (0x0303 is TLS 1.2), and the
//                                    number and the name of the cipher suite. A binding need not
//                                    fill the other fields, and an older system may not support it
// Every other attribute: SEC_E_UNSUPPORTED_FUNCTION.
SECURITY_STATUS QueryContextAttributesW(CtxtHandle* context, ULONG attribute, void* buffer);

// Encrypts one record in place. Buffers: STREAM_HEADER (cbHeader bytes), DATA (1 to
// cbMaximumMessage), STREAM_TRAILER (cbTrailer), EMPTY, adjacent in this order. On success the
// sizes of header and trailer are those used; the trailer may have shrunk.
//   SEC_E_OK
//   SEC_E_BUFFER_TOO_SMALL      header or trailer
//   SEC_E_INVALID_TOKEN         too much DATA
//   SEC_E_UNSUPPORTED_FUNCTION  no DATA: the binding can't encrypt an empty record. The context
//                               stays usable
//   SEC_E_ENCRYPT_FAILURE, SEC_E_INVALID_HANDLE, SEC_E_INSUFFICIENT_MEMORY
// After DecryptMessage has failed on the context, the status of that failure.
SECURITY_STATUS EncryptMessage(CtxtHandle* context, ULONG qualityOfProtection,
                               SecBufferDesc* message, ULONG sequence);

// Decrypts one record in place. Buffers: DATA with ciphertext that starts at a record, and three
// EMPTY.
//   SEC_E_OK                  a DATA buffer with the plaintext, which lies inside the input and may
//                             be empty, and an EXTRA buffer whose size counts the bytes after the
//                             record
//   SEC_E_INCOMPLETE_MESSAGE  less than a record; the input is unchanged, and the size of a MISSING
//                             buffer is the number of bytes missing
//   SEC_I_CONTEXT_EXPIRED     the peer's closure alert, and in a binding that keeps no keys after a
//                             failure every call after the one that failed
//   SEC_I_RENEGOTIATE         the peer asks to renegotiate; no answer is sent
//   SEC_E_INVALID_TOKEN, SEC_E_MESSAGE_ALTERED, SEC_E_DECRYPT_FAILURE, SEC_E_ILLEGAL_MESSAGE,
//   SEC_E_INVALID_HANDLE, SEC_E_INSUFFICIENT_MEMORY, SEC_E_INTERNAL_ERROR
SECURITY_STATUS DecryptMessage(CtxtHandle* context, SecBufferDesc* message, ULONG sequence,
                               ULONG* qualityOfProtection);

SECURITY_STATUS DeleteSecurityContext(CtxtHandle* context);
SECURITY_STATUS FreeContextBuffer(void* buffer);

} // namespace VexaSsl::platform
