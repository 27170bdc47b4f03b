#include "faults/Failures.h"

#include "platform/contract/WindowsBase.h"

#include <initializer_list>

namespace VexaSsl::test {

namespace {

using Failures = std::vector<Failure>;

constexpr DWORD invalidArgument = 0x80070057;
constexpr DWORD invalidHandle = 6;
constexpr DWORD tooManyOpenFiles = 4;
constexpr DWORD fileNotFound = 2;
constexpr DWORD noMemory = ERROR_NOT_ENOUGH_MEMORY;

// The same result with each of these last errors.
Failures withErrors(std::int64_t result, std::initializer_list<DWORD> errors) {
    Failures all;
    for (const DWORD error : errors) {
        all.push_back({.result = result, .error = error});
    }
    return all;
}

// Results that are statuses or error codes themselves.
Failures withResults(std::initializer_list<std::int64_t> results) {
    Failures all;
    for (const std::int64_t result : results) {
        all.push_back({.result = result});
    }
    return all;
}

Failures operator+(Failures left, const Failures& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Failures afterwards(Failures all) {
    for (Failure& failure : all) {
        failure.afterwards = true;
    }
    return all;
}

Failures ofSend() {
    return withErrors(SOCKET_ERROR,
                      {WSAECONNRESET, WSAECONNABORTED, WSAETIMEDOUT, WSAENOBUFS, WSAENOTCONN,
                       WSAESHUTDOWN, WSAEWOULDBLOCK, WSAEINTR, WSAENETRESET, WSAEHOSTUNREACH}) +
           withResults({0}); // sends nothing
}

Failures ofReceive() {
    return withErrors(SOCKET_ERROR, {WSAECONNRESET, WSAECONNABORTED, WSAETIMEDOUT, WSAEWOULDBLOCK,
                                     WSAENOTCONN, WSAENETRESET, WSAEINTR, WSAEFAULT}) +
           withResults({0}); // the end of the stream
}

Failures ofConnecting() {
    return withErrors(SOCKET_ERROR, {WSAECONNREFUSED, WSAETIMEDOUT, WSAEHOSTUNREACH, WSAENETUNREACH,
                                     WSAEADDRNOTAVAIL, WSAEWOULDBLOCK, WSAEINPROGRESS, WSAEISCONN,
                                     WSAENOBUFS, WSAEAFNOSUPPORT});
}

Failures ofAccepting() {
    return withErrors(-1, {WSAECONNRESET, WSAEMFILE, WSAENOBUFS, WSAEWOULDBLOCK, WSAEINVAL,
                           WSAENOTSOCK, WSAEINTR});
}

// getaddrinfo also sets its result as last error.
Failures ofLookup() {
    Failures all;
    for (const int code : {WSAHOST_NOT_FOUND, WSATRY_AGAIN, WSANO_RECOVERY, WSA_NOT_ENOUGH_MEMORY,
                           WSAEAFNOSUPPORT, WSATYPE_NOT_FOUND, WSAEINVAL}) {
        all.push_back({.result = code, .error = static_cast<DWORD>(code)});
    }
    return all;
}

// A handshake call may create its context and token before it fails.
Failures ofHandshakes(Detail detail) {
    const Failures refusals = withResults(
        {SEC_E_WRONG_PRINCIPAL, SEC_E_UNTRUSTED_ROOT, SEC_E_CERT_EXPIRED, SEC_E_CERT_WRONG_USAGE,
         SEC_E_CERT_UNKNOWN, SEC_E_ILLEGAL_MESSAGE, SEC_E_DECRYPT_FAILURE, SEC_E_MESSAGE_ALTERED,
         SEC_E_ALGORITHM_MISMATCH, SEC_E_UNSUPPORTED_FUNCTION, SEC_E_INVALID_TOKEN,
         SEC_E_INVALID_HANDLE, SEC_E_NO_CREDENTIALS, SEC_E_LOGON_DENIED, SEC_E_CONTEXT_EXPIRED,
         SEC_E_INSUFFICIENT_MEMORY, SEC_E_INTERNAL_ERROR, SEC_I_RENEGOTIATE});
    const Failures lacks = detail == Detail::further
                               ? withResults({SEC_I_INCOMPLETE_CREDENTIALS,
                                              SEC_E_INCOMPLETE_MESSAGE}) // without a missing count
                               : withResults({SEC_I_INCOMPLETE_CREDENTIALS});
    return refusals + afterwards(refusals) + lacks;
}

Failures ofAttributes(Detail detail) {
    const Failures all =
        withResults({SEC_E_INVALID_HANDLE, SEC_E_INSUFFICIENT_MEMORY, SEC_E_INTERNAL_ERROR});
    return detail == Detail::peer ? all + withResults({SEC_E_NO_CREDENTIALS}) + afterwards(all)
                                  : all + withResults({SEC_E_UNSUPPORTED_FUNCTION});
}

// Not checked, or a fault in the whole, in a simple chain or in an element.
Failures ofPolicyCheck() {
    Failures all = withErrors(FALSE, {invalidArgument, noMemory});
    for (const DWORD verdict :
         {CERT_E_UNTRUSTEDROOT, CERT_E_CHAINING, TRUST_E_CERT_SIGNATURE, TRUST_E_BASIC_CONSTRAINTS,
          CERT_E_INVALID_NAME, CERT_E_CRITICAL, CERT_E_EXPIRED, CERT_E_WRONG_USAGE}) {
        for (const auto& [chain, element] :
             {std::pair{-1, -1}, std::pair{0, -1}, std::pair{0, 0}}) {
            all.push_back(
                {.result = TRUE, .verdict = verdict, .chainIndex = chain, .elementIndex = element});
        }
    }
    return all;
}

Failures ofComputerName(Detail detail) {
    const Failures all = withErrors(FALSE, {noMemory, ERROR_ACCESS_DENIED});
    // A name of size 0.
    return detail == Detail::sizing ? all + withResults({TRUE}) : all;
}

} // namespace

std::vector<Failure> failuresOf(const SeenCall& seen) {
    switch (seen.call) {
    case Call::send:
        return ofSend();
    case Call::recv:
        return ofReceive();
    case Call::connect:
    case Call::WSAConnect:
        return ofConnecting();
    case Call::accept:
    case Call::WSAAccept:
        return ofAccepting();
    case Call::select:
        return withErrors(SOCKET_ERROR, {WSAENOTSOCK, WSAEINVAL, WSAENETDOWN, WSAEINTR, WSAEFAULT});
    case Call::getaddrinfo:
    case Call::GetAddrInfoW:
        return ofLookup();
    case Call::AcceptEx:
        return withErrors(FALSE, {WSAECONNRESET, WSAEMFILE, WSAENOBUFS, WSAEINVAL, WSAENOTSOCK});
    case Call::WSASend:
    case Call::WSARecv:
        return withErrors(SOCKET_ERROR,
                          {WSAECONNRESET, WSAECONNABORTED, WSAENOBUFS, WSAENOTCONN, WSAESHUTDOWN,
                           WSAEINVAL, WSAEWOULDBLOCK, WSA_OPERATION_ABORTED});
    case Call::shutdown: // the peer still sees the end
        return afterwards(withErrors(
            SOCKET_ERROR, {WSAENOTCONN, WSAECONNRESET, WSAENOTSOCK, WSAEINVAL, WSAENETDOWN}));
    case Call::GetNameInfoW:
        return withErrors(SOCKET_ERROR, {WSAHOST_NOT_FOUND, WSAEFAULT}) + ofLookup();
    case Call::EnumerateSecurityPackagesW:
        return withResults(
            {SEC_E_INSUFFICIENT_MEMORY, SEC_E_INTERNAL_ERROR, SEC_E_SECPKG_NOT_FOUND});
    case Call::AcquireCredentialsHandleW:
        return withResults({SEC_E_UNKNOWN_CREDENTIALS, SEC_E_NO_CREDENTIALS,
                            SEC_E_ALGORITHM_MISMATCH, SEC_E_SECPKG_NOT_FOUND,
                            SEC_E_UNSUPPORTED_FUNCTION, SEC_E_INSUFFICIENT_MEMORY,
                            SEC_E_INTERNAL_ERROR});
    case Call::InitializeSecurityContextW:
    case Call::AcceptSecurityContext:
        return ofHandshakes(seen.detail);
    case Call::QueryContextAttributesW:
        return ofAttributes(seen.detail);
    case Call::EncryptMessage:
        return withResults({SEC_E_BUFFER_TOO_SMALL, SEC_E_INVALID_TOKEN, SEC_E_INVALID_HANDLE,
                            SEC_E_ENCRYPT_FAILURE, SEC_E_INSUFFICIENT_MEMORY, SEC_E_MESSAGE_ALTERED,
                            SEC_E_UNSUPPORTED_FUNCTION});
    case Call::DecryptMessage:
        return withResults({SEC_I_CONTEXT_EXPIRED, SEC_I_RENEGOTIATE, SEC_E_INVALID_TOKEN,
                            SEC_E_MESSAGE_ALTERED, SEC_E_DECRYPT_FAILURE, SEC_E_ILLEGAL_MESSAGE,
                            SEC_E_INVALID_HANDLE, SEC_E_INSUFFICIENT_MEMORY, SEC_E_INTERNAL_ERROR});
    case Call::CertOpenStore:
        return withErrors(0, {ERROR_ACCESS_DENIED, fileNotFound, tooManyOpenFiles, noMemory});
    case Call::CertCloseStore: // the store is closed nevertheless
        return afterwards(
            withErrors(FALSE, {CRYPT_E_PENDING_CLOSE, invalidHandle, ERROR_ACCESS_DENIED}));
    case Call::CertFindCertificateInStore:
        return withErrors(0, {CRYPT_E_NOT_FOUND, invalidArgument, noMemory});
    case Call::CertCompareCertificate:
        return withResults({FALSE});
    case Call::CertGetCertificateChain:
        return withErrors(FALSE, {noMemory, invalidArgument});
    case Call::CertVerifyCertificateChainPolicy:
        return ofPolicyCheck();
    case Call::CertGetNameStringW:
        return withResults({1}); // no name
    case Call::MultiByteToWideChar:
        return withErrors(0, {ERROR_NO_UNICODE_TRANSLATION, ERROR_INSUFFICIENT_BUFFER});
    case Call::FormatMessageW:
        return withErrors(0, {noMemory, WSA_INVALID_PARAMETER});
    case Call::GetComputerNameExW:
        return ofComputerName(seen.detail);
    case Call::GetUserNameW:
        return withErrors(FALSE, {ERROR_ACCESS_DENIED, noMemory});
    case Call::openTextFile:
        return withResults({0});
    }
    return {};
}

std::string describe(Call call, const Failure& failure) {
    std::string text = nameOf(call) + " gives " + std::to_string(failure.result);
    text += failure.error != 0 ? " with " + std::to_string(failure.error) : "";
    text += failure.verdict != 0 ? " and the verdict " + std::to_string(failure.verdict) + " at " +
                                       std::to_string(failure.chainIndex) + "," +
                                       std::to_string(failure.elementIndex)
                                 : "";
    return text + (failure.afterwards ? " after completing" : "");
}

} // namespace VexaSsl::test
