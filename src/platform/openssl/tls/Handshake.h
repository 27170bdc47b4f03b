// One step of a handshake, the same for both roles: whole records in, a token out.
#pragma once

#include "platform/openssl/tls/TlsConnection.h"
#include <cstddef>

namespace VexaSsl::openssl {

// Works on whole records (none at a client's start) until they are used up, the handshake is
// complete or it fails. consumed counts the bytes used; what is behind the last handshake record is
// never looked at. The connection's guard is held by the caller.
//
// SEC_I_CONTINUE_NEEDED: the peer is to speak; token holds what is to be sent first, maybe nothing.
// SEC_E_OK: established, likewise. SEC_I_INCOMPLETE_CREDENTIALS: see TlsConnection; to be called
// again with the same records. Anything else: failed for good; the token may hold an alert that is
// not to be sent.
SECURITY_STATUS advanceHandshake(TlsConnection& context, ByteView records, Token& token,
                                 std::size_t& consumed);

} // namespace VexaSsl::openssl
