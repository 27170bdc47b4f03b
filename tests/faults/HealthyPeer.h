// The other end: a host whose calls all succeed.
#pragma once

#include "faults/Scenario.h"

namespace VexaSsl::test {

// Runs the other role of the scenario until the connection ends, on a separate thread. Returns
// false if an operation timed out.
bool playHealthyPeer(const Scenario& scenario, const Listener& listener);

} // namespace VexaSsl::test
