// A foreign TLS peer's talk over a socket.
#pragma once

#include "contract/support/RawPeer.h"
#include "integration/support/HostSocket.h"

namespace VexaSsl::test {

// What came, in one read; nothing at the end or when nothing comes in time.
Bytes receiveSome(const HostSocket& socket);
void sendAll(const HostSocket& socket, const Bytes& bytes);

// A server's part of the handshake, but for its last flight. Result: that flight; nothing when the
// client gave up.
Bytes answerHandshake(RawPeer& server, const HostSocket& socket);
// A client's handshake. Result: whether it was well.
bool runHandshake(RawPeer& client, const HostSocket& socket);

} // namespace VexaSsl::test
