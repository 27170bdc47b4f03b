// The end that isn't under test: a host whose every call succeeds.
#pragma once

#include "faults/Scenario.h"

namespace VexaSsl::test {

// Plays the other role of the scenario until the connection has ended; for a thread of its own.
// Result: false when it has waited for something in vain.
bool playHealthyPeer(const Scenario& scenario, const Listener& listener);

} // namespace VexaSsl::test
