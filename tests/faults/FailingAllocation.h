// One allocation that fails in its run, and what the library's documentation says of that.
#pragma once

#include "faults/Expectation.h"

namespace VexaSsl::test {

// base: the same run with memory. course: the one in which an allocation has failed. Inside a call
// of the platform that is the call's failure; outside it goes up as an exception to the operation.
Expectation expectedWithoutMemory(const Scenario& scenario, const Course& base,
                                  const Course& course);

} // namespace VexaSsl::test
