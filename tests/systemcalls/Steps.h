// The steps that the part under test is made of. Each is one step of its play: its system calls may
// fail, and nothing is done once a step has failed. Results: whether all went well.
#pragma once

#include "integration/support/Meeting.h"
#include "systemcalls/Play.h"

#include <string>

namespace VexaSsl::test {

// Not a step: an end without a socket, whose lines go to the play's log.
Peer stackOf(Play& play, const Settings& settings);

bool sends(Play& play, Peer& self, const std::string& text);
// Waits for all of the text; other bytes are what must never be.
bool hears(Play& play, Peer& self, const std::string& text);
bool makesSocket(Play& play, Peer& self);
bool resolves(Play& play, Peer& self);
// Resolves, makes a socket, connects.
bool connects(Play& play, Peer& self, const Listener& listener);
// Makes a socket, accepts on it by an overlapped operation, and completes that.
bool accepts(Play& play, Peer& self, const Listener& listener);
// Shuts the connection down and closes it.
bool ends(Play& play, Peer& self);

} // namespace VexaSsl::test
