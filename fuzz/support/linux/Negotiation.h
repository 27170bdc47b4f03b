// What both harnesses of the negotiation do: the peer says whatever the input holds, where an
// honest one would have said something else.
#pragma once

#include "MemoryPeer.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace VexaSsl::fuzz {

// What the library's end receives in a negotiation that goes well.
const std::string& honestFlights(Role role, bool mutual);

// The first byte of the input chooses whether the client shows a certificate, and the size of the
// pieces in which the rest comes. Who doesn't know the keys can't get further than an honest peer
// would: a connection comes about only when the peer said exactly what an honest one says.
int negotiate(Role role, const std::uint8_t* data, std::size_t size);

} // namespace VexaSsl::fuzz
