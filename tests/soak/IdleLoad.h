// Thousands of idle encrypted connections on `vexassl serve --overlapped`, with a few busy and
// hostile ones.
#pragma once

#include "soak/Callers.h"
#include "soak/Samples.h"

#include <chrono>
#include <string>

namespace VexaSsl::test {

struct IdleLoad {
    std::string tool;
    std::string certificates;
    std::size_t idle;
    std::size_t busy;
    std::chrono::duration<double> time;

    // Samples are the server's. Returns whether an idle connection costs no more than it may, each
    // still echoes at the end, and the server has its initial number of descriptors when all are
    // closed; prints what isn't so.
    bool run(Counts& counts, Samples& samples) const;
};

} // namespace VexaSsl::test
