// Counts the records of one direction of a handshake, as OpenSSL does not expose its sequence
// numbers. One thread at a time.
#pragma once

#include "platform/openssl/tls/RecordBoundary.h"

#include <cstdint>

namespace VexaSsl::openssl {

class RecordCounter {
public:
    // Counts whole records, in the order of the connection. Those that follow ChangeCipherSpec are
    // protected.
    void count(ByteView records) noexcept;

    // Returns the number of protected records, which is the sequence number of the next one.
    std::uint64_t protectedCount() const noexcept { return protectedRecords; }
    // Returns the first eight bytes of the last protected payload: the explicit nonce, if the
    // cipher suite has one.
    std::uint64_t lastExplicitNonce() const noexcept { return explicitNonce; }
    // Returns false when count was given something other than whole records.
    bool isComplete() const noexcept { return onlyWholeRecords; }

private:
    void countRecord(ByteView record) noexcept;

    bool isProtected = false;
    bool onlyWholeRecords = true;
    std::uint64_t protectedRecords = 0;
    std::uint64_t explicitNonce = 0;
};

} // namespace VexaSsl::openssl
