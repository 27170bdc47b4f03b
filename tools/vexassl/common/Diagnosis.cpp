#include "common/Diagnosis.h"

#include "common/SecurityFailure.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace VexaSsl::tool {

namespace {

// Statuses of the security package and of chain verification, as the log prints them.
constexpr std::uint32_t contextExpired = 0x00090317;
constexpr std::uint32_t wrongPrincipal = 0x80090322;
constexpr std::uint32_t illegalMessage = 0x80090326; // also a bare "handshake failure" alert
constexpr std::uint32_t accessDenied = 0x8009030C;
constexpr std::uint32_t certificateNameMismatch = 0x800B010F;
constexpr std::uint32_t socketTimedOut = 10060;

constexpr std::array<std::uint32_t, 13> trustStatuses = {
    0x80090325, // untrusted root
    0x80090327, // certificate unknown
    0x80090328, // certificate expired
    0x80090349, // wrong credential usage
    0x8009035D, // policy
    0x80092010, // revoked
    0x80092012, // no revocation check
    0x80096004, // bad signature in the chain
    0x800B0101, // expired or not yet valid
    0x800B0109, // untrusted root
    0x800B010A, // chain incomplete
    0x800B010C, // revoked
    0x800B0110, // wrong usage
};

bool isTrustStatus(std::uint32_t code) {
    return std::find(trustStatuses.begin(), trustStatuses.end(), code) != trustStatuses.end();
}

struct Rule {
    std::wstring_view start;
    ExitStatus status;
};

// Lines whose beginning alone tells the cause.
constexpr std::array<Rule, 17> rules = {{
    {L"Supplied value [", ExitStatus::Usage},
    {L"Internal connection name [", ExitStatus::Usage},
    {L"An unexpected C++ standard library exception occurred: invalid configuration",
     ExitStatus::Usage},
    {L"CertOpenStore failed with: ", ExitStatus::OwnCertificate},
    {L"Tried to find a default certificate, but none were suitable", ExitStatus::OwnCertificate},
    {L"Was not able to find a certificate with the name [", ExitStatus::OwnCertificate},
    {L"User didn't select a certificate", ExitStatus::OwnCertificate},
    {L"AcquireCredentialsHandle failed with: ", ExitStatus::OwnCertificate},
    {L"Unable to obtain a certificate to authenticate the client by", ExitStatus::PeerNotTrusted},
    {L"The certificate provided by the client is not trusted", ExitStatus::PeerNotTrusted},
    {L"The certificate provided by the client is trusted, but not acceptable",
     ExitStatus::NameMismatch},
    {L"InitializeSecurityContext returned [SEC_I_INCOMPLETE_CREDENTIALS]",
     ExitStatus::RefusedByPeer},
    {L"Connection closed (during negotiation)", ExitStatus::Handshake},
    {L"Renegotiate request received", ExitStatus::Handshake},
    {L"EncryptMessage failed with: ", ExitStatus::Handshake},
    {L"Can't establish a security context. ", ExitStatus::Handshake},
    {L"A memory allocation failed. ", ExitStatus::Handshake},
}};

// The number behind "<start> failed with: ", when the text is such a line.
std::optional<std::uint32_t> failureCode(std::wstring_view text, std::wstring_view start) {
    if (!text.starts_with(start)) {
        return std::nullopt;
    }
    std::uint32_t code = 0;
    for (const wchar_t unit : text.substr(start.size())) {
        if (unit < L'0' || unit > L'9') {
            break;
        }
        code = code * 10 + static_cast<std::uint32_t>(unit - L'0');
    }
    return code;
}

ExitStatus transportCause(std::uint32_t code) {
    return code == socketTimedOut ? ExitStatus::TimedOut : ExitStatus::Handshake;
}

} // namespace

// A client judges the server before it sends its second flight, which holds its own certificate.
// So the same status means "we don't trust them" before that flight and "they don't want us" after.
ExitStatus Diagnosis::clientHandshakeCause(std::uint32_t code) const {
    const bool certificateSent = flightsSent >= 2;
    if (certificateSent &&
        (isTrustStatus(code) || code == illegalMessage || code == accessDenied)) {
        return ExitStatus::RefusedByPeer;
    }
    if (code == wrongPrincipal || code == certificateNameMismatch) {
        return ExitStatus::NameMismatch;
    }
    return isTrustStatus(code) ? ExitStatus::PeerNotTrusted : ExitStatus::Handshake;
}

void Diagnosis::observe(std::wstring_view text) {
    observeReversion(text);
    if (text.starts_with(L"InitializeSecurityContext: Sending token to server")) {
        ++flightsSent;
    }
    if (const auto client = failureCode(text, L"InitializeSecurityContext failed with: ")) {
        conclude(clientHandshakeCause(*client), text);
    } else if (const auto server = failureCode(text, L"AcceptSecurityContext failed with: ")) {
        // A server doesn't judge the client inside the handshake, so a certificate's status here is
        // the client's refusal of the server's.
        conclude(isTrustStatus(*server) ? ExitStatus::RefusedByPeer : ExitStatus::Handshake, text);
    } else if (const auto read = failureCode(text, L"::recv (during negotiation) failed with: ")) {
        conclude(transportCause(*read), text);
    } else if (const auto write = failureCode(text, L"::send (during negotiation) failed with: ")) {
        conclude(transportCause(*write), text);
    } else if (const auto record = failureCode(text, L"DecryptMessage failed with: ")) {
        observeRecordFailure(*record, text);
    }
    for (const Rule& rule : rules) {
        if (text.starts_with(rule.start)) {
            conclude(rule.status, text);
        }
    }
}

// The peer's orderly closure is logged like a failure; it is an end.
void Diagnosis::observeRecordFailure(std::uint32_t code, std::wstring_view text) {
    if (code != contextExpired) {
        alerted = cause == ExitStatus::Well && code == illegalMessage;
        conclude(ExitStatus::Handshake, text);
    }
}

void Diagnosis::observeReversion(std::wstring_view text) {
    constexpr std::wstring_view notice = L"Reverting to NO ENCRYPTION";
    if (text.ends_with(notice) && !reverted) {
        reverted = true;
        reversion = text == notice ? previous : std::wstring(text);
    }
    previous = text;
}

void Diagnosis::conclude(ExitStatus status, std::wstring_view text) {
    if (cause == ExitStatus::Well) {
        cause = status;
        line = text;
        reason = securityFailureSuffix(text);
    }
}

} // namespace VexaSsl::tool
