// Memory and cost with many connections, measured in a new process for each contender, so that the
// heap has no remains of other measurements.
#pragma once

#include "Cells.h"

namespace VexaSsl::bench {

struct MemoryCell {
    std::string name;
    std::string unit;
    std::size_t message;     // bytes sent to the server and back over each connection
    std::size_t connections; // number of idle connections
    enum class Quantity { memory, roundTrip, handshake } quantity;
    Receiving receiving;
    std::function<bool(const Entry&)> includes; // whether a contender is measured
};

std::vector<MemoryCell> memoryCells(Effort effort);

// Runs this program again. Returns the figure in the cell's unit. Throws std::runtime_error.
double runMemoryProcess(const MemoryCell& cell, const std::string& contender, const Terms& terms);

// The main function of that process: prints the figure. Returns the exit status.
int memoryProcess(const std::vector<std::string>& arguments);

} // namespace VexaSsl::bench
