// What suite and group two ends of the library agree upon, so that the others can be held to them.
#pragma once

#include "Contender.h"

namespace VexaSsl::bench {

// Has the client connect to an OpenSSL server that takes any suite of TLS 1.2; the library's own
// server leaves the choice to the client too. Fills in what comes of it and what the client offers.
void learnAgreement(Contender& client, Terms& terms);

} // namespace VexaSsl::bench
