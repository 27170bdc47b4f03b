// What hostile peers of both roles are made of.
#pragma once

#include "integration/support/HostSocket.h"
#include "integration/support/Pattern.h"

#include <chrono>
#include <string_view>

namespace VexaSsl::test {

// The first bytes of a TLS record of 16,000 bytes.
inline constexpr std::string_view handshakeBeginning("\x16\x03\x01\x3e\x80\x01\x00\x3e\x7c\x03\x03",
                                                     11);
// The same of application data.
inline constexpr std::string_view dataBeginning("\x17\x03\x03\x04\x00half of it", 15);

// The bytes that all callers send, and all garbage.
const Pattern& sentBytes();
// Byte by byte, with a pause behind each.
void sendSlowly(const HostSocket& socket, std::string_view bytes, std::chrono::milliseconds pause);
// Waits until the peer ends the connection, or the socket's time is up.
void awaitEnd(const HostSocket& socket);

} // namespace VexaSsl::test
