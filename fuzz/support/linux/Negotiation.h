// Used by both harnesses of the handshake: the peer sends the input instead of what an honest one
// sends.
#pragma once

#include "MemoryPeer.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace VexaSsl::fuzz {

// Returns what the library's end receives in a successful handshake.
const std::string& honestFlights(Role role, bool mutual);

// The first byte of the input chooses whether the client sends a certificate, and the size of the
// pieces of the rest. Without the keys the input can succeed only if it is exactly what an honest
// peer sends.
int negotiate(Role role, const std::uint8_t* data, std::size_t size);

} // namespace VexaSsl::fuzz
