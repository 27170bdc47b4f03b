// A foreign TLS peer's talk over a socket.
#pragma once

#include "contract/support/RawPeer.h"
#include "integration/support/HostSocket.h"

namespace VexaSsl::test {

// What came, in one read; nothing at the end or when nothing comes in time.
Bytes receiveSome(const HostSocket& socket);
void sendAll(const HostSocket& socket, const Bytes& bytes);

// Runs a server's part of the handshake without its last flight. Returns that flight, or nothing
// when the client gave up.
Bytes answerHandshake(RawPeer& server, const HostSocket& socket);
// Runs a client's handshake. Returns whether it succeeded.
bool runHandshake(RawPeer& client, const HostSocket& socket);

} // namespace VexaSsl::test
