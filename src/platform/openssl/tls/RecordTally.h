// What OpenSSL's record layer has done in one direction of a handshake, told by the records that
// went by: where its numbering stands is nothing that it would say.
#pragma once

#include "platform/openssl/tls/RecordBoundary.h"

#include <cstdint>

namespace VexaSsl::openssl {

class RecordTally {
public:
    // Whole records, in the order in which they travel. Those behind the change of cipher specs are
    // the protected ones.
    void note(ByteView records) noexcept;

    // How many protected ones went by, hence the sequence number of the next one.
    std::uint64_t protectedCount() const noexcept { return count; }
    // The first eight bytes of the last protected one's payload: its explicit nonce, in a suite
    // that has one.
    std::uint64_t lastNonce() const noexcept { return nonce; }
    // False when something went by that isn't whole records.
    bool complete() const noexcept { return isComplete; }

private:
    void noteOne(ByteView record) noexcept;

    bool isProtected = false;
    bool isComplete = true;
    std::uint64_t count = 0;
    std::uint64_t nonce = 0;
};

} // namespace VexaSsl::openssl
