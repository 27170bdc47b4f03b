// What the library's documentation says of each failing call: the lines, the result and the last
// error, as they follow from a run in which the call didn't fail.
#pragma once

#include "faults/Scenario.h"

#include <string>
#include <vector>

namespace VexaSsl::test {

// In the place of a last error that nothing is promised about.
inline constexpr int anyError = -1;

struct Expectation {
    std::vector<LogLine> lines;
    std::vector<StepOutcome> outcomes;
};

// base: the same run without this failure. position: the failing call's place in it.
Expectation expectedOf(const Scenario& scenario, const Course& base, std::size_t position,
                       const Failure& failure);

// The same for an allocation that failed outside of the platform, at the place that was seen.
Expectation expectedWithoutMemory(const Scenario& scenario, const Course& base,
                                  const SeenAllocation& refused);

// What distinguishes the course from the expectation; empty when nothing does.
std::string difference(const Expectation& expected, const Course& course);

} // namespace VexaSsl::test
