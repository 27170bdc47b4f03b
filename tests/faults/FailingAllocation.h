// A failing allocation and its documented consequence.
#pragma once

#include "faults/Expectation.h"

namespace VexaSsl::test {

// base: the same run with memory. result: the run in which the allocation failed. Inside a platform
// call it is the call's failure; outside it is an exception in the operation.
Expectation expectedWithoutMemory(const Scenario& scenario, const RunResult& base,
                                  const RunResult& result);

} // namespace VexaSsl::test
