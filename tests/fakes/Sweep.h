// How thoroughly a test walks along many places, and where it tells what it found.
//
// Threads: any.
#pragma once

#include <cstddef>
#include <string>

namespace VexaSsl::test {

// Whether every place is to be tried: what `script/test --torture` asks for by setting the
// environment variable VEXASSL_TORTURE.
bool sweepIsFull();

// The distance from one place that is tried to the next: 1 in a full sweep, else `usual`.
std::size_t sweepStep(std::size_t usual);

// Prints a figure that a test has measured, and appends it to the file that the environment
// variable VEXASSL_FIGURES names, if any: one line of row, tab, figure. `row` is the subject, for
// instance "Handshake cut at every byte"; neither text holds a tab or a line end. Figures of the
// same row stand together in the table that `script/test --torture` prints at its end.
void tellFigure(const std::string& row, const std::string& figure);

// Adds to a figure that all processes of a run make together, for instance 12 "lines searched":
// the table tells the sum. Nothing is printed.
void addToFigure(const std::string& row, std::size_t count, const std::string& what);

} // namespace VexaSsl::test
