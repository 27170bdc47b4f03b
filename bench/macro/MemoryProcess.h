// Memory and the cost of growing, measured in a fresh process for each contender, whose heap holds
// nothing left over from others.
#pragma once

#include "Cells.h"

namespace VexaSsl::bench {

struct MemoryCell {
    std::string name;
    std::string unit;
    std::size_t message;     // bytes there and back over each connection before it falls silent
    std::size_t connections; // idle ones
    enum class Question { memory, trip, handshake } question;
    std::function<bool(const Entry&)> asks;
};

std::vector<MemoryCell> memoryCells(Effort effort);

// Runs this program again. Result: the figure in the cell's unit. Throws std::runtime_error.
double runMemoryProcess(const MemoryCell& cell, const std::string& contender, const Terms& terms);

// What that process does: prints the figures. Result: the process's exit status.
int memoryProcess(const std::vector<std::string>& arguments);

} // namespace VexaSsl::bench
