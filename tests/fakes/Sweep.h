// How many places a sweep over many places tries, and where it reports its figures.
//
// Threads: any.
#pragma once

#include <cstddef>
#include <string>

namespace VexaSsl::test {

// Whether to try every place: if `script/test --torture` has set the environment variable
// VEXASSL_TORTURE.
bool sweepIsFull();

// Returns the distance between the places to try: 1 in a full sweep, else `usual`.
std::size_t sweepStep(std::size_t usual);

// Prints a figure and appends it to the file named by the environment variable VEXASSL_FIGURES, if
// set: one line of row, tab, figure. `row` is the subject, such as "Handshake cut at every byte";
// neither text contains a tab or a line end. `script/test --torture` prints the figures as a table
// by row.
void reportFigure(const std::string& row, const std::string& figure);

// Adds to a figure of all processes of a run, such as 12 "lines searched"; the table has the sum.
// Prints nothing.
void addToFigure(const std::string& row, std::size_t count, const std::string& what);

} // namespace VexaSsl::test
