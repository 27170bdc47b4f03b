// Makes single records with the keys of a raw peer, byte by byte as a test wants them: what a TLS
// library would never send. The peer must have negotiated forgeableSuite and have protected nothing
// yet.
#pragma once

#include "contract/support/RawPeer.h"

namespace VexaSsl::test {

inline constexpr char forgeableSuite[] = "ECDHE-ECDSA-AES128-GCM-SHA256";

class RecordForge {
public:
    explicit RecordForge(const RawPeer& peer);

    // The peer's next record: type 20 change of cipher specs, 21 alert, 22 handshake, 23 data.
    Bytes record(unsigned char type, const Bytes& plaintext);

private:
    Bytes key;
    Bytes fixedNonce;
    unsigned char sequence = 1; // 0 was the peer's Finished message
};

} // namespace VexaSsl::test
