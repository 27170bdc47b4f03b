// Thousands of secured connections that idle on `vexassl serve --overlapped` while a few are busy
// and a few are hostile.
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

    // Samples are the server's. At the end each idle connection still echoes, and when all are
    // closed the server has the descriptors that it had before.
    // Result: whether all of that was so; what wasn't is printed.
    bool run(Counts& counts, Samples& samples) const;
};

} // namespace VexaSsl::test
