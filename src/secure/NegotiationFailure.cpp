#include "secure/NegotiationFailure.h"

#include <cstddef>
#include <optional>
#include <span>

namespace VexaSsl {

namespace {

constexpr std::size_t headerSize = 5;
constexpr unsigned alertRecord = 21;
constexpr std::size_t alertSize = 2;
constexpr unsigned fatal = 2;
constexpr int protocolVersion = 70;
constexpr int insufficientSecurity = 71;

unsigned byteAt(std::span<const char> bytes, std::size_t position) {
    return static_cast<unsigned char>(bytes[position]);
}

// Of a status that isn't an alert of the peer. A server's package judges no certificate, so there
// it is one that was not recognised.
FailureCause causeOfCertificate(FailureCause ofClient, bool isServer) {
    return isServer ? FailureCause::PeerRefused : ofClient;
}

} // namespace

std::optional<int> fatalAlertIn(std::span<const char> records) noexcept {
    while (records.size() >= headerSize) {
        const std::size_t size = byteAt(records, 3) << 8 | byteAt(records, 4);
        if (size > records.size() - headerSize) {
            break;
        }
        const std::span<const char> content = records.subspan(headerSize, size);
        if (byteAt(records, 0) == alertRecord && size == alertSize && byteAt(content, 0) == fatal) {
            return static_cast<int>(byteAt(content, 1));
        }
        records = records.subspan(headerSize + size);
    }
    return std::nullopt;
}

FailureCause causeOfNegotiation(SECURITY_STATUS status, bool isServer,
                                std::span<const char> received) noexcept {
    if (const std::optional<int> alert = fatalAlertIn(received)) {
        return *alert == protocolVersion || *alert == insufficientSecurity
                   ? FailureCause::Protocol
                   : FailureCause::PeerRefused;
    }
    switch (status) {
    case SEC_E_UNTRUSTED_ROOT:
    case SEC_E_CERT_UNKNOWN:
    case SEC_E_CERT_WRONG_USAGE:
        return causeOfCertificate(FailureCause::PeerNotTrusted, isServer);
    case SEC_E_WRONG_PRINCIPAL:
        return causeOfCertificate(FailureCause::NameMismatch, isServer);
    case SEC_E_CERT_EXPIRED:
        return causeOfCertificate(FailureCause::Expired, isServer);
    case SEC_E_LOGON_DENIED:
    case SEC_E_CONTEXT_EXPIRED:
    case SEC_I_CONTEXT_EXPIRED:
        return FailureCause::PeerRefused;
    case SEC_E_NO_CREDENTIALS:
    case SEC_E_UNKNOWN_CREDENTIALS:
        return FailureCause::OwnCertificate;
    case SEC_E_INSUFFICIENT_MEMORY:
        return FailureCause::Memory;
    default:
        return FailureCause::Protocol;
    }
}

} // namespace VexaSsl
