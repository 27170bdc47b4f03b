#include "contract/support/RecordForge.h"

#include "TrafficForge.h"

namespace VexaSsl::test {

RecordForge::RecordForge(const RawPeer& peer)
    : forge(std::make_shared<TrafficForge>(peer, TrafficForge::Direction::fromPeer)) {}

Bytes RecordForge::record(unsigned char type, const Bytes& plaintext) {
    const std::uint64_t number = sequence++;
    return forge->seal({.sequence = number, .type = type, .explicitNonce = number}, plaintext);
}

} // namespace VexaSsl::test
