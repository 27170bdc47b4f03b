#include "tampering/HandshakeLines.h"

#include "VexaSsl/TextConversion.h"
#include "integration/support/LogMatchers.h"
#include "platform/contract/SecuritySupport.h"

#include <algorithm>
#include <array>

namespace VexaSsl::test {

namespace {

const std::wstring prefix = L"Can't establish a security context. ";

std::string listed(const std::vector<LogLine>& lines) {
    std::string text;
    for (const LogLine& line : lines) {
        text += "\n    " + convertWideToNarrow(line.text);
    }
    return text;
}

// The number of bytes received according to the log.
std::size_t bytesLoggedAsReceived(const TamperedConnection& connection) {
    const std::wstring start = L"received [";
    std::size_t sum = 0;
    for (const LogLine& line : connection.log.linesWith(start)) {
        sum += std::stoul(line.text.substr(start.size()));
    }
    return sum;
}

// Describes what is wrong except for the lines from Info upwards.
std::string faultOutsideLines(TamperedConnection& connection) {
    if (connection.established()) {
        return "the handshake succeeded";
    }
    if (bytesLoggedAsReceived(connection) != connection.wire.taken()) {
        return "the log has " + std::to_string(bytesLoggedAsReceived(connection)) +
               " bytes received of " + std::to_string(connection.wire.taken());
    }
    // A failed startOtls sets no error code and leaves the socket to the host.
    if (connection.connectionSetup().upgraded) {
        return "";
    }
    if (connection.error != WSAECONNABORTED) {
        return "the last error is " + std::to_string(connection.error);
    }
    return isShutForSending(connection.socket()) ? "" : "the socket isn't shut down";
}

// Whether the line is a failure of a handshake call with any of the usual statuses.
bool isRefusal(const LogLine& line, const std::wstring& call) {
    constexpr std::array<SECURITY_STATUS, 16> refusals = {
        SEC_E_ILLEGAL_MESSAGE,    SEC_E_DECRYPT_FAILURE,      SEC_E_MESSAGE_ALTERED,
        SEC_E_ALGORITHM_MISMATCH, SEC_E_UNSUPPORTED_FUNCTION, SEC_E_INVALID_TOKEN,
        SEC_E_LOGON_DENIED,       SEC_E_CONTEXT_EXPIRED,      SEC_E_INTERNAL_ERROR,
        SEC_E_UNTRUSTED_ROOT,     SEC_E_CERT_EXPIRED,         SEC_E_CERT_WRONG_USAGE,
        SEC_E_CERT_UNKNOWN,       SEC_E_INVALID_HANDLE,       SEC_E_NO_CREDENTIALS,
        SEC_E_WRONG_PRINCIPAL};
    return std::any_of(refusals.begin(), refusals.end(), [&](SECURITY_STATUS status) {
        return line == failedCall(call, static_cast<DWORD>(status));
    });
}

// The additional lines of a client that detects the change as a wrong name in the certificate.
std::vector<LogLine> linesOfWrongName() {
    return {info(L"InitializeSecurityContext failed with [SEC_E_WRONG_PRINCIPAL]. Probable cause: "
                 L"None of the names on the certificate that the server supplied to us match the "
                 L"address we connected to [localhost]"),
            info(L"It is not possible to report the names on the certificate.")};
}

} // namespace

std::vector<LogLine> linesOfClosedHandshake() {
    return {warning(L"Connection closed (during negotiation)"),
            error(prefix + L"Connection closed")};
}

std::vector<LogLine> linesOfFailedReceive(DWORD code) {
    return {failedCall(L"::recv (during negotiation)", code), error(prefix + L"can't recv")};
}

std::vector<LogLine> linesOfFailedSend(DWORD code) {
    return {failedCall(L"::send (during negotiation)", code), error(prefix + L"can't send")};
}

std::string faultOfFailedHandshake(TamperedConnection& connection,
                                   const std::vector<LogLine>& expected) {
    const std::vector<LogLine> lines = connection.log.linesFrom(Severity::Info);
    return lines == expected ? faultOutsideLines(connection) : "unexpected lines:" + listed(lines);
}

std::string faultOfRefusedHandshake(TamperedConnection& connection) {
    const std::vector<LogLine> lines = connection.log.linesFrom(Severity::Info);
    if (lines == linesOfClosedHandshake()) {
        return faultOutsideLines(connection);
    }
    const std::wstring call = connection.connectionSetup().asServer ? L"AcceptSecurityContext"
                                                                    : L"InitializeSecurityContext";
    std::vector<LogLine> following;
    if (!lines.empty() && lines[0] == failedCall(call, static_cast<DWORD>(SEC_E_WRONG_PRINCIPAL))) {
        following = linesOfWrongName();
    }
    following.push_back(
        warning(L"An encrypted connection could not be successfully initialised on socket [" +
                std::to_wstring(connection.socket()) + L"]. Aborting"));
    following.push_back(error(prefix + call + L" failed"));
    const bool refused =
        !lines.empty() && isRefusal(lines[0], call) &&
        std::equal(following.begin(), following.end(), lines.begin() + 1, lines.end());
    return refused ? faultOutsideLines(connection) : "unexpected lines:" + listed(lines);
}

} // namespace VexaSsl::test
