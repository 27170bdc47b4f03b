// Makes single records that a TLS library would never send, protected with the keys of a raw peer.
// The peer must have sent no record after its Finished message.
#pragma once

#include "contract/support/RawPeer.h"

#include <cstdint>
#include <memory>

namespace VexaSsl::test {

class TrafficForge;

class RecordForge {
public:
    explicit RecordForge(const RawPeer& peer);

    // The peer's next record. type: 20 change_cipher_spec, 21 alert, 22 handshake, 23 data.
    Bytes record(unsigned char type, const Bytes& plaintext);

private:
    std::shared_ptr<const TrafficForge> forge;
    std::uint64_t sequence = 1; // the Finished message had 0
};

} // namespace VexaSsl::test
