// What a status of decryption means for the receiving operations.
#pragma once

#include "platform/contract/SecuritySupport.h"

namespace VexaSsl {

// Whether the stream continues; a partial record waits for the rest.
constexpr bool isUsable(SECURITY_STATUS status) {
    return status == SEC_E_OK || status == SEC_E_INCOMPLETE_MESSAGE;
}

// Whether the peer has closed the TLS stream or asked to renegotiate, which is not supported.
constexpr bool endsStream(SECURITY_STATUS status) {
    return status == SEC_I_CONTEXT_EXPIRED || status == SEC_I_RENEGOTIATE;
}

} // namespace VexaSsl
