// Servers that do to the library's client what hostile clients do to its server: garbage, silence
// until the client has waited long enough, a reset in mid-record, and half a record byte by byte.
// One does it instead of the handshake, the other behind an honest one.
//
// Threads: made and destroyed by one; everything else happens on their own.
#pragma once

#include "soak/LoadServer.h"

#include <cstddef>
#include <cstdint>

namespace VexaSsl::test {

class HostileServers {
public:
    // workers: how many connections each takes at once.
    explicit HostileServers(std::size_t workers);

    // Nobody can be established with this one.
    std::uint16_t portInsteadOfHandshake() const { return instead.port(); }
    // Nobody gets a byte of plaintext from this one.
    std::uint16_t portBehindHandshake() const { return behind.port(); }

private:
    LoadServer instead;
    LoadServer behind;
};

} // namespace VexaSsl::test
