// Used by hostile clients and servers.
#pragma once

#include "integration/support/HostSocket.h"
#include "integration/support/Pattern.h"

#include <chrono>
#include <string_view>

namespace VexaSsl::test {

// The first bytes of a TLS record of 16,000 bytes.
inline constexpr std::string_view handshakeBeginning("\x16\x03\x01\x3e\x80\x01\x00\x3e\x7c\x03\x03",
                                                     11);
// The first bytes of such a record of application data.
inline constexpr std::string_view dataBeginning("\x17\x03\x03\x04\x00half of it", 15);

// The bytes that clients send, and the garbage.
const Pattern& sentBytes();
// Sends byte by byte, with a pause after each.
void sendSlowly(const HostSocket& socket, std::string_view bytes, std::chrono::milliseconds pause);
// Waits until the peer ends the connection, or for the timeout of the socket.
void awaitEnd(const HostSocket& socket);

} // namespace VexaSsl::test
