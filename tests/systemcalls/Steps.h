// The steps of the end under test. The system calls of a step may fail; after a failed step nothing
// is done. Each returns whether it has succeeded.
#pragma once

#include "integration/support/ConnectedPair.h"
#include "systemcalls/Play.h"

#include <string>

namespace VexaSsl::test {

// Not a step: returns an end without a socket, which logs to the play's log.
Peer stackOf(Play& play, const Settings& settings);

bool sends(Play& play, Peer& self, const std::string& text);
// Receives all of the text; other bytes are recorded as wrong.
bool hears(Play& play, Peer& self, const std::string& text);
bool makesSocket(Play& play, Peer& self);
bool resolves(Play& play, Peer& self);
// Resolves the name, creates a socket and connects.
bool connects(Play& play, Peer& self, const Listener& listener);
// Creates a socket, accepts by AcceptEx and completes it.
bool accepts(Play& play, Peer& self, const Listener& listener);
// Shuts the connection down and closes the socket.
bool ends(Play& play, Peer& self);

} // namespace VexaSsl::test
