// Makes single records that a TLS library would never send, protected with the keys of a raw peer.
// The peer must have negotiated forgeableSuite and have sent no record after its Finished message.
#pragma once

#include "contract/support/RawPeer.h"

namespace VexaSsl::test {

inline constexpr char forgeableSuite[] = "ECDHE-ECDSA-AES128-GCM-SHA256";

class RecordForge {
public:
    explicit RecordForge(const RawPeer& peer);

    // The peer's next record. type: 20 change_cipher_spec, 21 alert, 22 handshake, 23 data.
    Bytes record(unsigned char type, const Bytes& plaintext);

private:
    Bytes key;
    Bytes fixedNonce;
    unsigned char sequence = 1; // 0 was the peer's Finished message
};

} // namespace VexaSsl::test
