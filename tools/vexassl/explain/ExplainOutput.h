// How an explanation is shown: to a person, or to a script as one JSON object a line.
#pragma once

#include "common/LogCollector.h"
#include "explain/ChainExplanation.h"

#include <cstddef>
#include <string>
#include <vector>

namespace VexaSsl::tool {

// What was asked, for the first line and for the name's verdict.
struct ExplainedChain {
    std::size_t number = 1; // of several
    std::string title;      // "the chain that localhost:443 sends"
    std::string givenAs;    // how the certificates at hand came: "sent by the server"
    std::string name;       // asked for; may be empty
    ChainExplanation explanation;
    std::vector<LoggedLine> connection; // of an attempt by the library; may be empty
    std::string connectionFailure;      // of that attempt; empty when it went well
};

void printForPerson(const ExplainedChain& chain);
void printForScript(const ExplainedChain& chain);

} // namespace VexaSsl::tool
