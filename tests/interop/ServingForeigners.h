// What a server of ours does with a foreign client.
#pragma once

#include "integration/support/Meeting.h"
#include "interop/Program.h"

namespace VexaSsl::test {

// Our end hears a line of the program and says one that the program must show.
void converse(Peer& server, Program& program);

// The page that answerRequest sends.
extern const std::string page;
// Hears an HTTP request and answers it with the page and its length.
void answerRequest(Peer& server);

} // namespace VexaSsl::test
