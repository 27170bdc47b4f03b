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

// full: for figures to be kept; quick: shows a tendency; smoke: shows that the programs work.
enum class Effort { smoke, quick, full };

std::vector<Cell> cells(Effort effort);

} // namespace VexaSsl::bench
