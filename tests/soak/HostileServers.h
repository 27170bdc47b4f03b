// Hostile servers: garbage, silence until the client's timeout, a reset inside a record, and half a
// record byte by byte. One does this instead of the handshake, the other after it.
//
// Threads: created and destroyed by one thread; they run threads of their own.
#pragma once

#include "soak/LoadServer.h"

#include <cstddef>
#include <cstdint>

namespace VexaSsl::test {

class HostileServers {
public:
    // workers: the number of simultaneous connections of each.
    explicit HostileServers(std::size_t workers);

    // No handshake with this one can succeed.
    std::uint16_t portInsteadOfHandshake() const { return instead.port(); }
    // This one sends no byte of valid plaintext.
    std::uint16_t portAfterHandshake() const { return after.port(); }

private:
    LoadServer instead;
    LoadServer after;
};

} // namespace VexaSsl::test
