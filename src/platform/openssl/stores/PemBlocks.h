// The certificates and private keys in the text of a PEM file (or in one DER object).
#pragma once

#include "platform/openssl/stores/OpenSslOwners.h"

#include <string_view>
#include <vector>

namespace VexaSsl::openssl {

struct PemContent {
    std::vector<X509Pointer> certificates; // in their order, as are the keys
    std::vector<KeyPointer> keys;
    bool keyIsClosed = false; // a key is there that needs a pass phrase
    bool broken = false;      // a block is damaged, or not what its title says
};

// Text outside of blocks and blocks of other kinds are passed over. Never asks for a pass phrase.
PemContent readPemBlocks(std::string_view text);

} // namespace VexaSsl::openssl
