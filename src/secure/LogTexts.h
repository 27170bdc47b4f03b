// Texts by which the log lines of this module are recognised: the whole line, its beginning, or the
// failed call that logSystemError names.
#pragma once

namespace VexaSsl::LogTexts {

inline constexpr const wchar_t* acquireCredentials = L"AcquireCredentialsHandle";
// What an administrator does about it, in an Info line.
inline constexpr const wchar_t* unreadableKeyPrefix =
    L"AcquireCredentialsHandle failed with [SEC_E_UNKNOWN_CREDENTIALS]. Probable cause: user [";
inline constexpr const wchar_t* clientStep = L"InitializeSecurityContext";
inline constexpr const wchar_t* serverStep = L"AcceptSecurityContext";
inline constexpr const wchar_t* clientFlight =
    L"InitializeSecurityContext: Sending token to server";
// With three tabs. Compatibility: misspelt-texts
inline constexpr const wchar_t* incompleteCredentials =
    L"InitializeSecurityContext returned [SEC_I_INCOMPLETE_CREDENTIALS]. Probable causes: The "
    L"server is configured to require client authentication \t\t\tbut rejected the certificate we "
    L"sent, or, the server is not configured to use encryption";
inline constexpr const wchar_t* negotiationSend = L"::send (during negotiation)";
inline constexpr const wchar_t* negotiationReceive = L"::recv (during negotiation)";
inline constexpr const wchar_t* closedInNegotiation = L"Connection closed (during negotiation)";
inline constexpr const wchar_t* encryption = L"EncryptMessage";
inline constexpr const wchar_t* decryption = L"DecryptMessage";
inline constexpr const wchar_t* renegotiationRequest = L"Renegotiate request received";
inline constexpr const wchar_t* tooFewBytes =
    L"::WSARecv completed asynchronously, but there were too few bytes";

// A host's mistake, after the name of the operation.
inline constexpr const wchar_t* notSecured = L" called before the connection was secured";
inline constexpr const wchar_t* nothingPending = L" called without a pending receive";
inline constexpr const wchar_t* negativeLength = L" called with a negative length";

// A server's refusal of a client.
inline constexpr const wchar_t* noClientCertificate =
    L"Unable to obtain a certificate to authenticate the client by. Terminating connection";
inline constexpr const wchar_t* untrustedClient =
    L"The certificate provided by the client is not trusted. Terminating connection";
inline constexpr const wchar_t* unacceptableClient =
    L"The certificate provided by the client is trusted, but not acceptable. Terminating "
    L"connection";

// The beginning of the line of an exception that ended an operation.
inline constexpr const wchar_t* noSecurityContextPrefix = L"Can't establish a security context. ";
inline constexpr const wchar_t* outOfMemoryPrefix = L"A memory allocation failed. ";
inline constexpr const wchar_t* otherExceptionPrefix =
    L"An unexpected C++ standard library exception occurred: ";

} // namespace VexaSsl::LogTexts
