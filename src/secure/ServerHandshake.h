// The server's side of the TLS negotiation.
#pragma once

namespace VexaSsl {

class SecureSocketRecord;

// Negotiates on the record's accepted socket until there is a security context that encrypts,
// decides whether the client may stay, and leaves the context in the record's securityContext.
// Needs log, socket, options, underlyingStrategy and credentials of the record.
//
// Blocks the calling thread for as long as the peer takes: no limit of rounds, no time-out but the
// socket's own. Throws std::runtime_error on every failure, with the reason in the log; the context
// is then deleted, and nothing is sent to tell the peer. A client that is turned away after the
// last token may have taken the handshake for finished.
void runServerHandshake(SecureSocketRecord& record);

} // namespace VexaSsl
