// The cause of a failed handshake. The package's status alone doesn't tell it: SEC_E_UNTRUSTED_ROOT
// is both this side's judgement of the peer and the peer's alert about this side. The alert itself
// tells them apart; it is in the clear until the peer has changed to encryption.
//
// Threads: any.
#pragma once

#include "VexaSsl/IConnectionInfo.h"
#include "platform/contract/SecuritySupport.h"

#include <optional>
#include <span>

namespace VexaSsl {

// Returns the cause of a handshake call that returned status for the received bytes.
FailureCause causeOfNegotiation(SECURITY_STATUS status, bool isServer,
                                std::span<const char> received) noexcept;

// Returns the description of the first fatal alert in the clear among whole TLS records.
std::optional<int> fatalAlertIn(std::span<const char> records) noexcept;

} // namespace VexaSsl
