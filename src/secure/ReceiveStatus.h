// What a decryption status means to the receiving operations.
#pragma once

#include "platform/contract/SecuritySupport.h"

namespace VexaSsl {

// The stream goes on; a partial record merely waits for its rest.
constexpr bool isUsable(SECURITY_STATUS status) {
    return status == SEC_E_OK || status == SEC_E_INCOMPLETE_MESSAGE;
}

// The peer closed the TLS stream, or asks for a new handshake, which is never given.
constexpr bool endsStream(SECURITY_STATUS status) {
    return status == SEC_I_CONTEXT_EXPIRED || status == SEC_I_RENEGOTIATE;
}

} // namespace VexaSsl
