#include "common/Diagnosis.h"

#include "certificates/LogTexts.h"
#include "common/SecurityFailure.h"
#include "config/LogTexts.h"
#include "frame/ErrorText.h"
#include "platform/contract/CryptoApi.h"
#include "platform/contract/SecuritySupport.h"
#include "secure/LogTexts.h"
#include "strategies/LogTexts.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

namespace {

// The log prints statuses unsigned.
constexpr std::uint32_t number(auto status) {
    return static_cast<std::uint32_t>(status);
}

constexpr std::array<std::uint32_t, 13> trustStatuses = {
    number(SEC_E_UNTRUSTED_ROOT),
    number(SEC_E_CERT_UNKNOWN),
    number(SEC_E_CERT_EXPIRED),
    number(SEC_E_CERT_WRONG_USAGE),
    0x8009035D,
    number(CRYPT_E_REVOKED),
    number(TRUST_E_CERT_SIGNATURE),
    number(CRYPT_E_NO_REVOCATION_CHECK),
    number(CERT_E_EXPIRED),
    number(CERT_E_UNTRUSTEDROOT),
    number(CERT_E_CHAINING),
    number(CERT_E_REVOKED),
    number(CERT_E_WRONG_USAGE),
};

bool isTrustStatus(std::uint32_t code) {
    return std::find(trustStatuses.begin(), trustStatuses.end(), code) != trustStatuses.end();
}

struct Rule {
    std::wstring_view start;
    std::wstring_view next; // what follows it in the line
    ExitStatus status;
};

// Lines that show the cause by their beginning.
constexpr std::array<Rule, 16> rules = {{
    {LogTexts::suppliedValuePrefix, L"", ExitStatus::Usage},
    {LogTexts::internalNamePrefix, L"", ExitStatus::Usage},
    {LogTexts::storeOpening, failedWith, ExitStatus::OwnCertificate},
    {LogTexts::noSuitableCertificate, L"", ExitStatus::OwnCertificate},
    {LogTexts::noCertificateWithNamePrefix, L"", ExitStatus::OwnCertificate},
    {LogTexts::noCertificateSelected, L"", ExitStatus::OwnCertificate},
    {LogTexts::acquireCredentials, failedWith, ExitStatus::OwnCertificate},
    {LogTexts::noClientCertificate, L"", ExitStatus::PeerNotTrusted},
    {LogTexts::untrustedClient, L"", ExitStatus::PeerNotTrusted},
    {LogTexts::unacceptableClient, L"", ExitStatus::NameMismatch},
    {LogTexts::incompleteCredentials, L"", ExitStatus::RefusedByPeer},
    {LogTexts::closedInNegotiation, L"", ExitStatus::Handshake},
    {LogTexts::renegotiationRequest, L"", ExitStatus::Handshake},
    {LogTexts::encryption, failedWith, ExitStatus::Handshake},
    {LogTexts::noSecurityContextPrefix, L"", ExitStatus::Handshake},
    {LogTexts::outOfMemoryPrefix, L"", ExitStatus::Handshake},
}};

bool applies(const Rule& rule, std::wstring_view text) {
    return text.starts_with(rule.start) && text.substr(rule.start.size()).starts_with(rule.next);
}

// Returns the number in the line of a failed call, or nothing for another line.
std::optional<std::uint32_t> failureCode(std::wstring_view text, std::wstring_view call) {
    if (!applies({call, failedWith, ExitStatus::Success}, text)) {
        return std::nullopt;
    }
    std::uint32_t code = 0;
    for (const wchar_t unit : text.substr(call.size() + std::wstring_view(failedWith).size())) {
        if (unit < L'0' || unit > L'9') {
            break;
        }
        code = code * 10 + static_cast<std::uint32_t>(unit - L'0');
    }
    return code;
}

ExitStatus transportCause(std::uint32_t code) {
    return code == number(WSAETIMEDOUT) ? ExitStatus::TimedOut : ExitStatus::Handshake;
}

} // namespace

// A client verifies the server before it sends its second flight, which holds its own certificate.
// So a status means "we don't trust the server" before that flight and "the server refuses us"
// after it.
ExitStatus Diagnosis::clientHandshakeCause(std::uint32_t code) const {
    const bool certificateSent = flightsSent >= 2;
    if (certificateSent && (isTrustStatus(code) || code == number(SEC_E_ILLEGAL_MESSAGE) ||
                            code == number(SEC_E_LOGON_DENIED))) {
        return ExitStatus::RefusedByPeer;
    }
    if (code == number(SEC_E_WRONG_PRINCIPAL) || code == number(CERT_E_CN_NO_MATCH)) {
        return ExitStatus::NameMismatch;
    }
    return isTrustStatus(code) ? ExitStatus::PeerNotTrusted : ExitStatus::Handshake;
}

void Diagnosis::observe(std::wstring_view text) {
    observeReversion(text);
    if (text.starts_with(LogTexts::clientFlight)) {
        ++flightsSent;
    }
    if (const auto client = failureCode(text, LogTexts::clientStep)) {
        conclude(clientHandshakeCause(*client), text, handshakeFailureSuffix(*client));
    } else if (const auto server = failureCode(text, LogTexts::serverStep)) {
        // A server doesn't verify the client inside the handshake, so the status of a certificate
        // means that the client refused ours.
        conclude(isTrustStatus(*server) ? ExitStatus::RefusedByPeer : ExitStatus::Handshake, text,
                 handshakeFailureSuffix(*server));
    } else if (const auto read = failureCode(text, LogTexts::negotiationReceive)) {
        conclude(transportCause(*read), text);
    } else if (const auto write = failureCode(text, LogTexts::negotiationSend)) {
        conclude(transportCause(*write), text);
    } else if (const auto record = failureCode(text, LogTexts::decryption)) {
        observeRecordFailure(*record, text);
    }
    for (const Rule& rule : rules) {
        if (applies(rule, text)) {
            conclude(rule.status, text);
        }
    }
}

// The peer's orderly closure is logged like a failure, but isn't one.
void Diagnosis::observeRecordFailure(std::uint32_t code, std::wstring_view text) {
    if (code != number(SEC_I_CONTEXT_EXPIRED)) {
        broken = true;
        alerted = cause == ExitStatus::Success && code == number(SEC_E_ILLEGAL_MESSAGE);
        conclude(ExitStatus::Handshake, text);
    }
}

void Diagnosis::observeReversion(std::wstring_view text) {
    constexpr std::wstring_view notice = LogTexts::fallbackNotice;
    if (text.ends_with(notice) && !reverted) {
        reverted = true;
        reversion = text == notice ? previous : std::wstring(text);
    }
    previous = text;
}

void Diagnosis::conclude(ExitStatus status, std::wstring_view text) {
    conclude(status, text, securityFailureSuffix(text));
}

void Diagnosis::conclude(ExitStatus status, std::wstring_view text, const std::string& why) {
    if (cause == ExitStatus::Success) {
        cause = status;
        line = text;
        reason = why;
    }
}

} // namespace VexaSsl::tool
