// The client's side of the TLS negotiation.
#pragma once

namespace VexaSsl {

class SecureSocketRecord;

// Negotiates on the record's connected socket until there is a security context that encrypts, and
// leaves it in the record's securityContext. Needs log, socket, targetName, underlyingStrategy and
// credentials of the record. The package checks the server's certificate against targetName.
//
// Blocks the calling thread for as long as the peer takes: no limit of rounds, no time-out but the
// socket's own. Throws std::runtime_error on every failure, with the reason in the log; the context
// is then deleted, and nothing is sent to tell the peer.
void runClientHandshake(SecureSocketRecord& record);

} // namespace VexaSsl
