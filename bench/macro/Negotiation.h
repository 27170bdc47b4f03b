// The cipher suite and the key exchange group that two ends of the library negotiate; the other
// contenders are given the same ones.
#pragma once

#include "Contender.h"

namespace VexaSsl::bench {

// Connects the client to an OpenSSL server that accepts every cipher suite of TLS 1.2 and, like the
// library's own server, follows the client's preference. Stores what was negotiated and what the
// client offered in terms.
void negotiateTerms(Contender& client, Terms& terms);

} // namespace VexaSsl::bench
