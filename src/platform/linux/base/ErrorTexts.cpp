#include "platform/linux/base/ErrorTexts.h"

#include "SecurityShapes.h"
#include "platform/linux/base/BaseErrors.h"

#include <algorithm>
#include <iterator>

namespace VexaSsl::linux {
namespace {

struct CodeText {
    DWORD code;
    const wchar_t* text;
};

constexpr DWORD status(SECURITY_STATUS number) {
    return static_cast<DWORD>(number);
}

// In ascending order of the codes, which the static_assert below checks.
constexpr CodeText texts[] = {
    // Base errors.
    {0, L"The operation completed successfully."},
    {errorFileNotFound, L"The file or the named object doesn't exist."},
    {3, L"The folder in the path doesn't exist."},
    {errorTooManyOpenFiles, L"The process has no file descriptor left."},
    {ERROR_ACCESS_DENIED, L"Access was refused by the system's permissions."},
    {WSA_INVALID_HANDLE, L"The handle isn't open."},
    {errorNotEnoughMemory, L"There is not enough memory."},
    {14, L"There is not enough storage."},
    {errorNotSupported, L"The request isn't supported."},
    {64, L"The network name is no longer available."},
    {errorInvalidParameter, L"An argument of the call isn't valid."},
    {ERROR_INSUFFICIENT_BUFFER, L"The buffer is too small for the result."},
    {ERROR_MORE_DATA, L"There is more data than the buffer holds."},
    {258, L"The wait timed out."},
    {317, L"There is no text for this code."},
    {WSA_OPERATION_ABORTED, L"The operation was cancelled, for instance because its socket was "
                            L"closed."},
    {WSA_IO_INCOMPLETE, L"The overlapped operation hasn't finished yet."},
    {WSA_IO_PENDING, L"The overlapped operation has been started and will finish later."},
    {errorInvalidFlags, L"The flags of the call aren't valid."},
    {ERROR_NO_UNICODE_TRANSLATION, L"The bytes aren't text in the given code page."},
    {errorCancelled, L"The user declined."},
    {1236, L"The local system ended the connection."},
    {errorInternalError, L"The system failed inside."},
    {errorInvalidWindowHandle, L"There is no terminal or window to ask the user in."},

    // Sockets.
    {WSAEINTR, L"The blocking call was interrupted."},
    {WSAEBADF, L"The descriptor isn't open."},
    {WSAEACCES, L"This account isn't permitted to perform the socket operation."},
    {WSAEFAULT, L"An address given to the call points to no usable memory."},
    {WSAEINVAL, L"An argument isn't valid, or the socket isn't in the right state."},
    {WSAEMFILE, L"No more sockets can be opened."},
    {WSAEWOULDBLOCK, L"The operation can't be done at once on this non-blocking socket."},
    {WSAEINPROGRESS, L"A blocking operation is still running."},
    {WSAEALREADY, L"The operation is already in progress on this socket."},
    {WSAENOTSOCK, L"The descriptor isn't a socket."},
    {WSAEDESTADDRREQ, L"The operation needs a destination address."},
    {WSAEMSGSIZE, L"The message is larger than the buffer or a limit of the network."},
    {WSAEPROTOTYPE, L"The protocol doesn't match the type of the socket."},
    {WSAENOPROTOOPT, L"The socket option is unknown or not supported at this level."},
    {WSAEPROTONOSUPPORT, L"The protocol isn't supported on this system."},
    {WSAESOCKTNOSUPPORT, L"The type of socket isn't supported in this address family."},
    {WSAEOPNOTSUPP, L"The operation isn't supported on this kind of socket."},
    {WSAEPFNOSUPPORT, L"The protocol family isn't supported on this system."},
    {WSAEAFNOSUPPORT, L"The address family isn't supported or doesn't match the protocol."},
    {WSAEADDRINUSE, L"The address and port are already in use."},
    {WSAEADDRNOTAVAIL, L"The address isn't one of this machine, or can't be used now."},
    {WSAENETDOWN, L"The network is down."},
    {WSAENETUNREACH, L"The network can't be reached from here."},
    {WSAENETRESET, L"The connection broke because the network was reset."},
    {WSAECONNABORTED, L"The connection was ended by software on this machine."},
    {WSAECONNRESET, L"The connection was reset by the peer."},
    {WSAENOBUFS, L"The system has no buffer space left."},
    {WSAEISCONN, L"The socket is already connected."},
    {WSAENOTCONN, L"The socket isn't connected."},
    {WSAESHUTDOWN, L"This direction of the socket has been shut down."},
    {10059, L"There are too many references to a kernel object."},
    {WSAETIMEDOUT, L"The peer didn't answer in time."},
    {WSAECONNREFUSED, L"The peer refused the connection: nothing listens there."},
    {10062, L"The name refers to itself."},
    {WSAENAMETOOLONG, L"The name is too long."},
    {WSAEHOSTDOWN, L"The destination host is down."},
    {WSAEHOSTUNREACH, L"There is no route to the destination host."},
    {10091, L"The network system isn't ready."},
    {10092, L"This version of the socket interface isn't supported."},
    {10093, L"The socket interface hasn't been started in this process."},
    {10101, L"The peer has begun an orderly shutdown."},
    {WSATYPE_NOT_FOUND, L"The service or class of service isn't known."},
    {WSAHOST_NOT_FOUND, L"No host of this name is known."},
    {WSATRY_AGAIN, L"The name server gave no answer; a later try may succeed."},
    {WSANO_RECOVERY, L"The name lookup failed permanently."},
    {WSANO_DATA, L"The name is valid but has no address of the requested kind."},

    // The security package: informational statuses.
    {status(SEC_I_CONTINUE_NEEDED), L"The handshake isn't finished; another message must be "
                                    L"exchanged."},
    {status(SEC_I_CONTEXT_EXPIRED), L"The peer has closed the TLS connection."},
    {status(SEC_I_INCOMPLETE_CREDENTIALS), L"The server requests a client certificate and none "
                                           L"was supplied."},
    {status(SEC_I_RENEGOTIATE), L"The peer requests a renegotiation of the TLS connection."},

    // General results.
    {0x80004001, L"The function isn't implemented."},
    {0x80004005, L"The operation failed for an unspecified reason."},
    {0x8007000E, L"There is not enough memory to complete the operation."},
    {invalidArgument, L"One or more arguments aren't valid."},

    // The security package: failures.
    {status(SEC_E_INSUFFICIENT_MEMORY), L"The security package ran out of memory."},
    {status(SEC_E_INVALID_HANDLE), L"The security package doesn't know the handle."},
    {status(SEC_E_UNSUPPORTED_FUNCTION), L"The security package doesn't support this function."},
    {0x80090303, L"The target of the connection is unknown or can't be reached."},
    {status(SEC_E_INTERNAL_ERROR), L"The security package failed internally, or the peer sent a "
                                   L"fatal alert."},
    {status(SEC_E_SECPKG_NOT_FOUND), L"There is no security package of this name."},
    {0x80090306, L"The caller doesn't own the credentials."},
    {0x80090307, L"The security package couldn't be started."},
    {status(SEC_E_INVALID_TOKEN), L"The received data isn't a valid TLS record or message."},
    {0x80090309, L"The security package can't serialise the context."},
    {0x8009030A, L"The requested protection isn't supported."},
    {status(SEC_E_LOGON_DENIED), L"The logon failed."},
    {status(SEC_E_UNKNOWN_CREDENTIALS), L"The credentials weren't accepted, for instance because "
                                        L"the private key can't be read."},
    {status(SEC_E_NO_CREDENTIALS), L"There is no certificate, or none with a private key."},
    {status(SEC_E_MESSAGE_ALTERED), L"The record was altered in transit."},
    {status(SEC_E_OUT_OF_SEQUENCE), L"A record arrived out of order."},
    {0x80090311, L"No authority for the logon could be reached."},
    {status(SEC_E_CONTEXT_EXPIRED), L"The TLS connection has already been closed."},
    {status(SEC_E_INCOMPLETE_MESSAGE), L"The record hasn't arrived completely yet."},
    {status(SEC_E_INCOMPLETE_CREDENTIALS), L"The supplied credentials are incomplete."},
    {status(SEC_E_BUFFER_TOO_SMALL), L"A buffer is too small for the security package's output."},
    {status(SEC_E_WRONG_PRINCIPAL), L"The server's certificate doesn't match the requested "
                                    L"server name."},
    {0x80090324, L"The clocks of client and server differ too much."},
    {status(SEC_E_UNTRUSTED_ROOT), L"The certificate chain was issued by an authority that isn't "
                                   L"trusted."},
    {status(SEC_E_ILLEGAL_MESSAGE), L"The message was unexpected or malformed."},
    {status(SEC_E_CERT_UNKNOWN), L"The certificate couldn't be processed."},
    {status(SEC_E_CERT_EXPIRED), L"The certificate has expired or isn't valid yet."},
    {status(SEC_E_ENCRYPT_FAILURE), L"The data couldn't be encrypted."},
    {status(SEC_E_DECRYPT_FAILURE), L"The data couldn't be decrypted."},
    {status(SEC_E_ALGORITHM_MISMATCH), L"Client and server have no protocol version or cipher "
                                       L"suite in common."},
    {status(SEC_E_CERT_WRONG_USAGE), L"The certificate isn't valid for this usage."},
    {0x80090367, L"Client and server have no application protocol in common."},

    // Certificates and their stores.
    {0x80091002, L"The algorithm is unknown."},
    {0x80092002, L"The data can't be decoded."},
    {0x80092003, L"A file of the store couldn't be read or written."},
    {CRYPT_E_NOT_FOUND, L"No matching certificate was found, or the list has ended."},
    {0x80092005, L"The object already exists."},
    {0x80092009, L"Nothing matches the search."},
    {0x8009200B, L"The certificate has no usable private key."},
    {CRYPT_E_PENDING_CLOSE, L"The store was closed while certificates from it are still held."},
    {0x80092010, L"The certificate was revoked."},
    {0x80092012, L"The revocation status of the certificate couldn't be checked."},
    {0x80092013, L"The revocation server can't be reached."},
    {0x80096001, L"A system failure prevented the trust check."},
    {0x80096002, L"The certificate of the signer isn't valid."},
    {TRUST_E_CERT_SIGNATURE, L"The signature on the certificate can't be verified."},
    {0x80096005, L"The time stamp can't be verified."},
    {0x80096010, L"The signed object doesn't match its signature."},
    {TRUST_E_BASIC_CONSTRAINTS, L"A certificate in the chain may not issue others, or the chain is "
                                L"longer than it allows."},
    {0x8009601E, L"The certificate doesn't meet the criteria for financial use."},
    {0x800B0001, L"The trust provider is unknown."},
    {0x800B0004, L"The subject isn't trusted for this."},
    {CERT_E_EXPIRED, L"A certificate in the chain has expired or isn't valid yet."},
    {0x800B0102, L"The validity periods of the certificates in the chain don't nest."},
    {0x800B0103, L"A certificate is used in a role that it isn't valid for."},
    {0x800B0104, L"The chain of certificates is longer than allowed."},
    {CERT_E_CRITICAL, L"A certificate has an unknown critical extension."},
    {0x800B0106, L"The certificate isn't valid for this purpose."},
    {0x800B0107, L"A certificate was issued by another authority than the one it names."},
    {0x800B0108, L"A certificate lacks a required value."},
    {CERT_E_UNTRUSTEDROOT, L"The chain ends in a root certificate that isn't trusted."},
    {CERT_E_CHAINING, L"The issuer of a certificate wasn't found, so the chain leads to no trusted "
                      L"root."},
    {0x800B010B, L"A system failure prevented the check of the certificate."},
    {0x800B010C, L"The certificate was revoked by its issuer."},
    {0x800B010D, L"The chain ends in the test root, which isn't trusted."},
    {0x800B010E, L"The revocation check couldn't be completed."},
    {CERT_E_CN_NO_MATCH, L"The certificate doesn't match the name."},
    {CERT_E_WRONG_USAGE, L"The certificate isn't valid for the requested usage."},
    {0x800B0111, L"The certificate was explicitly marked as not trusted."},
    {0x800B0112, L"The certificate doesn't lead to an authority that the policy trusts."},
    {0x800B0113, L"A certificate in the chain doesn't allow the requested policy."},
    {CERT_E_INVALID_NAME, L"A name in the certificate isn't valid or not permitted by its issuer."},
};

constexpr bool isBefore(const CodeText& left, const CodeText& right) {
    return left.code < right.code;
}

constexpr bool notBefore(const CodeText& left, const CodeText& right) {
    return !isBefore(left, right);
}

static_assert(std::adjacent_find(std::begin(texts), std::end(texts), notBefore) == std::end(texts));

} // namespace

const wchar_t* errorText(DWORD code) noexcept {
    const auto* found =
        std::lower_bound(std::begin(texts), std::end(texts), CodeText{code, nullptr}, isBefore);
    return found != std::end(texts) && found->code == code ? found->text : nullptr;
}

} // namespace VexaSsl::linux
