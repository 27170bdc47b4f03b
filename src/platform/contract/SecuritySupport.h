// Contract: the security package (SSPI with Schannel). Names, arguments, statuses and buffer shapes
// are those of the Windows functions; a status of 0 (SEC_E_OK) is success.
//
// Threads: calls on different contexts are independent. On one context one EncryptMessage and one
// DecryptMessage may run at once; everything else must be kept apart. Credentials may be shared.
#pragma once

#include "SecurityShapes.h" // IWYU pragma: export

namespace VexaSsl::platform {

// The installed packages; *packages is released with FreeContextBuffer. One is named "Schannel".
SECURITY_STATUS EnumerateSecurityPackagesW(ULONG* count, SecPkgInfoW** packages);

// package is "Microsoft Unified Security Protocol Provider", authData a SCHANNEL_CRED with none or
// one certificate, use SECPKG_CRED_INBOUND or SECPKG_CRED_OUTBOUND. With the flag
// SCH_CRED_MANUAL_CRED_VALIDATION a client's handshakes judge no server: the caller does. (Never
// for a connection that carries data; it is how a tool gets to see a chain that is refused.)
// SEC_E_UNKNOWN_CREDENTIALS when
// the certificate's private key can't be read or used, SEC_E_NO_CREDENTIALS for a certificate
// without one and for an inbound use without a certificate, SEC_E_ALGORITHM_MISMATCH for a
// certificate that is too weak, SEC_E_SECPKG_NOT_FOUND, SEC_E_UNSUPPORTED_FUNCTION,
// SEC_E_INSUFFICIENT_MEMORY, SEC_E_INTERNAL_ERROR.
SECURITY_STATUS AcquireCredentialsHandleW(wchar_t* principal, wchar_t* package, ULONG use,
                                          void* logonId, void* authData, SEC_GET_KEY_FN keyFunction,
                                          void* keyArgument, CredHandle* credential,
                                          TimeStamp* expiry);
SECURITY_STATUS FreeCredentialsHandle(CredHandle* credential);

// One step of a client's handshake. context null (or a zero handle) starts one and newContext
// receives it. input: null at the start, then TOKEN (bytes received) and EMPTY. output: TOKEN and
// ALERT, with ISC_REQ_ALLOCATE_MEMORY allocated by the package and released with FreeContextBuffer.
//   SEC_I_CONTINUE_NEEDED       a token to send (it may be empty), then more input is needed. A
//                               binding that has taken whole records before a partial one reports
//                               the part as SECBUFFER_EXTRA, as Windows does; the callers drop it
//   SEC_E_INCOMPLETE_MESSAGE    the last record is partial: an input buffer became
//                               SECBUFFER_MISSING with the exact number of bytes; nothing was
//                               consumed, nothing sent. A binding that answers so whatever stands
//                               before the part loses no byte
//   SEC_E_OK                    established; the token (maybe empty) must still be sent; bytes
//                               behind the last handshake record: SECBUFFER_EXTRA in the input
//   SEC_I_INCOMPLETE_CREDENTIALS  a certificate is asked for and none was supplied (only without
//                               ISC_REQ_USE_SUPPLIED_CREDS)
//   SEC_E_WRONG_PRINCIPAL, SEC_E_UNTRUSTED_ROOT, SEC_E_CERT_EXPIRED, SEC_E_CERT_WRONG_USAGE,
//   SEC_E_CERT_UNKNOWN          the server's certificate is refused
//   SEC_E_ILLEGAL_MESSAGE, SEC_E_DECRYPT_FAILURE, SEC_E_MESSAGE_ALTERED, SEC_E_ALGORITHM_MISMATCH,
//   SEC_E_UNSUPPORTED_FUNCTION, SEC_E_INVALID_TOKEN, SEC_E_INVALID_HANDLE, SEC_E_NO_CREDENTIALS,
//   SEC_E_LOGON_DENIED, SEC_E_CONTEXT_EXPIRED, SEC_E_INSUFFICIENT_MEMORY, SEC_E_INTERNAL_ERROR
//                               the rest of the failures; the peer's alerts give these too
// A failing status brings no token; a context that was made stays the caller's to delete.
SECURITY_STATUS InitializeSecurityContextW(CredHandle* credential, CtxtHandle* context,
                                           wchar_t* targetName, ULONG requirements, ULONG reserved1,
                                           ULONG dataRepresentation, SecBufferDesc* input,
                                           ULONG reserved2, CtxtHandle* newContext,
                                           SecBufferDesc* output, ULONG* attributes,
                                           TimeStamp* expiry);

// One step of a server's handshake; always with input. Statuses as above. With ASC_REQ_MUTUAL_AUTH
// the client is asked for a certificate; any or none is taken and none is judged here.
SECURITY_STATUS AcceptSecurityContext(CredHandle* credential, CtxtHandle* context,
                                      SecBufferDesc* input, ULONG requirements,
                                      ULONG dataRepresentation, CtxtHandle* newContext,
                                      SecBufferDesc* output, ULONG* attributes, TimeStamp* expiry);

// SECPKG_ATTR_STREAM_SIZES: a SecPkgContext_StreamSizes. SECPKG_ATTR_REMOTE_CERT_CONTEXT: a
// PCCERT_CONTEXT that the caller frees, its store holding the chain as sent; SEC_E_NO_CREDENTIALS
// when the peer sent none. A binding may answer it before the handshake is complete, once the
// certificate has come, also when the handshake fails behind it.
// SECPKG_ATTR_CIPHER_INFO, of an established context: a SecPkgContext_CipherInfo with the version
// of the protocol as on the wire (0x0303 is TLS 1.2), and the number and the name of the suite; a
// binding need not fill the rest, and an older system may not know it. Anything else:
// SEC_E_UNSUPPORTED_FUNCTION.
SECURITY_STATUS QueryContextAttributesW(CtxtHandle* context, ULONG attribute, void* buffer);

// Protects one record in place. Buffers: STREAM_HEADER (cbHeader bytes), DATA (1 to
// cbMaximumMessage), STREAM_TRAILER (cbTrailer), EMPTY, adjacent in this order. On success the
// header and trailer sizes are those used; the trailer may have shrunk. Not every binding can make
// an empty record: no DATA bytes may give SEC_E_UNSUPPORTED_FUNCTION, which harms nothing.
// SEC_E_BUFFER_TOO_SMALL, SEC_E_INVALID_TOKEN (too much DATA), SEC_E_INVALID_HANDLE,
// SEC_E_ENCRYPT_FAILURE, SEC_E_INSUFFICIENT_MEMORY; after a failed DecryptMessage its status.
SECURITY_STATUS EncryptMessage(CtxtHandle* context, ULONG qualityOfProtection,
                               SecBufferDesc* message, ULONG sequence);

// Opens one record in place. Buffers: DATA with ciphertext that starts at a record, and three
// EMPTY.
//   SEC_E_OK                  a DATA buffer with the plaintext (maybe empty, inside the input), and
//                             an EXTRA buffer whose size counts the bytes behind the record
//   SEC_E_INCOMPLETE_MESSAGE  less than a record; input unchanged, a MISSING buffer tells how much
//   SEC_I_CONTEXT_EXPIRED     the peer's closure
//   SEC_I_RENEGOTIATE         the peer asks to renegotiate; nothing is answered
//   SEC_E_INVALID_TOKEN, SEC_E_MESSAGE_ALTERED, SEC_E_DECRYPT_FAILURE, SEC_E_ILLEGAL_MESSAGE,
//   SEC_E_INVALID_HANDLE, SEC_E_INSUFFICIENT_MEMORY, SEC_E_INTERNAL_ERROR
SECURITY_STATUS DecryptMessage(CtxtHandle* context, SecBufferDesc* message, ULONG sequence,
                               ULONG* qualityOfProtection);

SECURITY_STATUS DeleteSecurityContext(CtxtHandle* context);
SECURITY_STATUS FreeContextBuffer(void* buffer);

} // namespace VexaSsl::platform
