// Prints an explanation: for a user, or for a script as one JSON object a line.
#pragma once

#include "common/LogCollector.h"
#include "explain/ChainExplanation.h"

#include <cstddef>
#include <string>
#include <vector>

namespace VexaSsl::tool {

// The question, for the first line and for the result about the name.
struct ExplainedChain {
    std::size_t number = 1; // of several chains, from 1
    std::string title;      // "the chain that localhost:443 sends"
    std::string givenAs;    // the source of the given certificates: "sent by the server"
    std::string name;       // to check; may be empty
    ChainExplanation explanation;
    std::vector<LoggedLine> connection; // of an attempt by the library; may be empty
    std::string connectionFailure;      // of that attempt; empty on success
};

void printForPerson(const ExplainedChain& chain);
void printForScript(const ExplainedChain& chain);
void printPem(const ExplainedChain& chain);

} // namespace VexaSsl::tool
