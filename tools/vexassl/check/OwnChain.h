// Whether peers will trust a certificate of ours, as far as this machine can tell. Any thread.
#pragma once

#include "platform/contract/CryptoApi.h"

#include <string>
#include <vector>

namespace VexaSsl::tool {

// Returns what is wrong with the chain, for a user; empty for a trusted chain. The validity of the
// certificate itself is left out.
std::vector<std::string> reasonsOfDistrust(PCCERT_CONTEXT certificate, bool forServer);

} // namespace VexaSsl::tool
