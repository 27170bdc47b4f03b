// The client side of the TLS handshake.
#pragma once

namespace VexaSsl {

class SecureSocketRecord;

// Runs the handshake on the record's connected socket and stores the context in the record's
// securityContext. Needs log, socket, targetName, underlyingStrategy and credentials of the record.
// The package checks the server's certificate and its name against targetName.
//
// Blocks the calling thread; there is no limit of round trips and no time-out but the socket's.
// Throws std::runtime_error on every failure, with the reason in the log; the context is then
// deleted and no alert is sent.
void runClientHandshake(SecureSocketRecord& record);

} // namespace VexaSsl
