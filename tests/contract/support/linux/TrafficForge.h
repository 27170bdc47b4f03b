// Seals and opens single records with the keys of a raw peer's connection and freely chosen fields.
// It derives the keys itself, so that the platform's records are checked by independent code.
#pragma once

#include "contract/support/RawPeer.h"

#include <cstdint>
#include <string>

namespace VexaSsl::test {

// The fields of a record that a test may choose.
struct RecordFields {
    std::uint64_t sequence = 1;
    unsigned char type = 23;
    std::uint64_t explicitNonce = 0; // for the cipher suites that have one
    unsigned char minorVersion = 3;
};

class TrafficForge {
public:
    enum class Direction { fromPeer, toPeer };

    // The peer must have sent its last flight.
    TrafficForge(const RawPeer& peer, Direction direction);

    Bytes seal(const RecordFields& fields, const Bytes& plaintext) const;
    Bytes seal(const RecordFields& fields, const std::string& text) const {
        return seal(fields, bytesOf(text));
    }
    // Returns false if the record doesn't have this sequence number or isn't authentic.
    bool open(std::uint64_t sequence, const Bytes& record, Bytes& plaintext) const;

    bool hasExplicitNonce() const { return fixedNonce.size() == 4; }

private:
    Bytes nonceOf(std::uint64_t sequence, const Bytes& explicitNonce) const;

    std::string cipher;
    Bytes key;
    Bytes fixedNonce;
};

// The explicit nonce of a record.
std::uint64_t explicitNonceIn(const Bytes& record);
// The consecutive records in bytes.
std::vector<Bytes> recordsIn(const Bytes& bytes);

} // namespace VexaSsl::test
