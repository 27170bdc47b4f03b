// Seals and opens single records with the keys of a raw peer's connection, field by field as a test
// wants them, and with a key derivation of its own: what the platform makes is judged by something
// that shares no line with it.
#pragma once

#include "contract/support/RawPeer.h"

#include <cstdint>
#include <string>

namespace VexaSsl::test {

// What may be chosen about a record; the rest is the connection's.
struct RecordFields {
    std::uint64_t sequence = 1;
    unsigned char type = 23;
    std::uint64_t explicitNonce = 0; // of the suites that have one
    unsigned char minorVersion = 3;
};

class TrafficForge {
public:
    // The direction from the peer to us, or the one from us to it.
    enum class Direction { fromPeer, toPeer };

    // The peer has shaken hands, or has at least sent its last flight.
    TrafficForge(const RawPeer& peer, Direction direction);

    Bytes seal(const RecordFields& fields, const Bytes& plaintext) const;
    Bytes seal(const RecordFields& fields, const std::string& text) const {
        return seal(fields, bytesOf(text));
    }
    // Opens a record that should have the sequence number. Result: false when it hasn't or anything
    // else about it is wrong.
    bool open(std::uint64_t sequence, const Bytes& record, Bytes& plaintext) const;

    bool hasExplicitNonce() const { return fixedNonce.size() == 4; }

private:
    Bytes nonceOf(std::uint64_t sequence, const Bytes& explicitNonce) const;

    std::string cipher;
    Bytes key;
    Bytes fixedNonce;
};

// The explicit nonce in a record's bytes, as a number.
std::uint64_t explicitNonceIn(const Bytes& record);
// The records that bytes hold, one behind the other.
std::vector<Bytes> recordsIn(const Bytes& bytes);

} // namespace VexaSsl::test
