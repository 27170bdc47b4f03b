// The cells of the table: what is measured, of which contenders, with how much work and in which
// unit.
#pragma once

#include "Certificates.h"
#include "Measurement.h"

#include <functional>
#include <string>
#include <vector>

namespace VexaSsl::bench {

struct Cell {
    std::string name; // in the table and in the results file
    std::string unit;
    bool moreIsBetter;
    KeyKind key;
    bool bundle;
    Receiving receiving;
    std::function<bool(const Entry&)> includes; // whether a contender is measured
    // The result of one run: the figure in unit, and the throughput, or 0.
    struct Figure {
        double value;
        double megabytesPerSecond;
    };
    std::function<Figure(Contender&)> run;
};

// full: figures to be published; quick: a rough idea; smoke: only checks that the programs run.
enum class Effort { smoke, quick, full };

std::vector<Cell> cells(Effort effort);

} // namespace VexaSsl::bench
