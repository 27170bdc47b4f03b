// One step of a handshake, for both roles: takes whole records and returns a token.
#pragma once

#include "platform/openssl/tls/TlsConnection.h"
#include <cstddef>

namespace VexaSsl::openssl {

// Processes records, which are whole (none at a client's start), until all are consumed, the
// handshake is complete or it fails. consumed becomes the number of bytes consumed, which excludes
// what follows the last handshake record. The caller holds context.mutex.
//   SEC_I_CONTINUE_NEEDED         send the token, which may be empty; more records are needed
//   SEC_E_OK                      established; send the token, which may be empty
//   SEC_I_INCOMPLETE_CREDENTIALS  call again with the same records; see TlsConnection
// Any other status: failed permanently. The token may then contain an alert, which must not be
// sent.
SECURITY_STATUS advanceHandshake(TlsConnection& context, ByteView records, Token& token,
                                 std::size_t& consumed);

} // namespace VexaSsl::openssl
