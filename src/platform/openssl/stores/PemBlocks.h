// The certificates and private keys in a PEM file, or the one in a DER file. Any thread.
#pragma once

#include "platform/openssl/stores/OpenSslOwners.h"

#include <string_view>
#include <vector>

namespace VexaSsl::openssl {

struct PemContent {
    std::vector<X509Pointer> certificates; // in the order of the file
    std::vector<KeyPointer> keys;          // in the order of the file
    bool hasUnreadableKey = false;         // a key has a pass phrase
    bool isDamaged = false;                // a block can't be decoded
};

// Skips text outside of blocks and blocks of other types. Never asks for a pass phrase. Throws
// std::bad_alloc.
PemContent readPemBlocks(std::string_view text);

} // namespace VexaSsl::openssl
