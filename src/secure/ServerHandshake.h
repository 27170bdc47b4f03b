// The server side of the TLS handshake.
#pragma once

namespace VexaSsl {

class SecureSocketRecord;

// Runs the handshake on the record's accepted socket, authenticates the client if the options
// require it, and stores the context in the record's securityContext. Needs log, socket, options,
// underlyingStrategy and credentials of the record.
//
// Blocks the calling thread; there is no limit of round trips and no time-out but the socket's.
// Throws std::runtime_error on every failure, with the reason in the log; the context is then
// deleted and no alert is sent. The client is rejected after the last token, so it may believe that
// the handshake succeeded.
void runServerHandshake(SecureSocketRecord& record);

} // namespace VexaSsl
