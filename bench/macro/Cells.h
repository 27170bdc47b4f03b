// The cells of the table: what is measured of whom, how large a portion, and in which unit.
#pragma once

#include "Certificates.h"
#include "Measurement.h"

#include <functional>
#include <string>
#include <vector>

namespace VexaSsl::bench {

struct Cell {
    std::string name; // in the table and in the results
    std::string unit;
    bool moreIsBetter;
    KeyKind key;
    bool bundle;
    // Which contenders are asked.
    std::function<bool(const Entry&)> asks;
    // One run: the figure, and the megabytes a second beside it, or 0.
    struct Figure {
        double value;
        double megabytesPerSecond;
    };
    std::function<Figure(Contender&)> run;
};

// With quick, portions that are large enough to show a tendency only.
std::vector<Cell> cells(bool quick);

} // namespace VexaSsl::bench
