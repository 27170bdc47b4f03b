// A server of the library with another client.
#pragma once

#include "integration/support/ConnectedPair.h"
#include "interop/Program.h"

namespace VexaSsl::test {

// Receives a line of the program and sends one that the program must print.
void converse(Peer& server, Program& program);

// The page that answerRequest sends.
extern const std::string page;
// Receives an HTTP request and sends the page with its length.
void answerRequest(Peer& server);

} // namespace VexaSsl::test
