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

// How many bytes the log says to have come.
std::size_t toldAsReceived(const Scene& scene) {
    const std::wstring start = L"received [";
    std::size_t sum = 0;
    for (const LogLine& line : scene.log.linesWith(start)) {
        sum += std::stoul(line.text.substr(start.size()));
    }
    return sum;
}

// What is wrong beside the lines from Info upwards.
std::string faultBesideLines(Scene& scene) {
    if (scene.established()) {
        return "the handshake is through";
    }
    if (toldAsReceived(scene) != scene.wire.taken()) {
        return "the log tells of " + std::to_string(toldAsReceived(scene)) + " bytes received of " +
               std::to_string(scene.wire.taken());
    }
    // A switch to encryption that fails sets no error code and leaves the socket to the host.
    if (scene.cast().upgraded) {
        return "";
    }
    if (scene.error != WSAECONNABORTED) {
        return "the last error is " + std::to_string(scene.error);
    }
    return isShutForSending(scene.socket()) ? "" : "the socket isn't shut down";
}

// All failures of the security package's handshake calls that have no meaning of their own.
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

// What a client adds when a changed name in the certificate is what is noticed first.
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

std::string faultOfFailedHandshake(Scene& scene, const std::vector<LogLine>& expected) {
    const std::vector<LogLine> lines = scene.log.linesFrom(Severity::Info);
    return lines == expected ? faultBesideLines(scene) : "unexpected lines:" + listed(lines);
}

std::string faultOfRefusedHandshake(Scene& scene) {
    const std::vector<LogLine> lines = scene.log.linesFrom(Severity::Info);
    if (lines == linesOfClosedHandshake()) {
        return faultBesideLines(scene);
    }
    const std::wstring call =
        scene.cast().asServer ? L"AcceptSecurityContext" : L"InitializeSecurityContext";
    std::vector<LogLine> behind;
    if (!lines.empty() && lines[0] == failedCall(call, static_cast<DWORD>(SEC_E_WRONG_PRINCIPAL))) {
        behind = linesOfWrongName();
    }
    behind.push_back(
        warning(L"An encrypted connection could not be successfully initialised on socket [" +
                std::to_wstring(scene.socket()) + L"]. Aborting"));
    behind.push_back(error(prefix + call + L" failed"));
    const bool refused = !lines.empty() && isRefusal(lines[0], call) &&
                         std::equal(behind.begin(), behind.end(), lines.begin() + 1, lines.end());
    return refused ? faultBesideLines(scene) : "unexpected lines:" + listed(lines);
}

} // namespace VexaSsl::test
